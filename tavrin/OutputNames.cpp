#include "tavrin/OutputNames.h"

#include <algorithm>
#include <string_view>

#include "hostcommon/Utf8Path.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"

namespace tavrin {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kBase = "BASE";  // stands for the base name in what writers declare
constexpr std::string_view kNumbered = "BASE_N";

/// The ending of a file that the base name begins; "" for one that runs share.
std::string endingOf(const std::string& file) {
  return file.starts_with(kBase) ? file.substr(kBase.size()) : "";
}

/// What is left of a name that is that of a writer's file: the longest ending counts.
std::string withoutEnding(const std::string& name, const pwr::PluginLibraries& plugins) {
  std::size_t longest = 0;
  for (const WriterPlugin* writer : plugins.writers()) {
    for (const std::string& file : pwr::PluginLibrary::capability(*writer).getFiles()) {
      const std::string ending = endingOf(file);
      if (name.ends_with(ending)) longest = std::max(longest, ending.size());
    }
  }
  return name.substr(0, name.size() - longest);
}

/// A base name in a folder, for an example.
std::string nameIn(const std::string& folder) {
  return pwr::utf8FromPath(pwr::pathFromUtf8(folder) / "run");
}

/// Whether both are one existing file, or the same name of one that does not exist yet. What is no
/// file (a pipe, a device) is no harm to share.
bool isSameFile(const fs::path& one, const fs::path& other) {
  std::error_code error;
  if (fs::exists(one, error) && fs::exists(other, error)) {
    return fs::is_regular_file(one, error) && fs::equivalent(one, other, error);
  }
  const auto fullName = [&error](const fs::path& path) {
    return fs::weakly_canonical(fs::absolute(path, error), error);
  };
  return fullName(one) == fullName(other) && !error;
}

[[noreturn]] void refuseOutput(const fs::path& file, const std::string& also) {
  throw CommandError(kExitUsage, "the output " + pwr::utf8FromPath(file) + " is also " + also);
}

}  // namespace

OutputNames::OutputNames(const std::string& given, const pwr::PluginLibraries& plugins,
                         const std::vector<WriterPlugin*>& chosen, bool continuous,
                         const std::string& suffix)
    : baseName_(withoutEnding(given, plugins)) {
  const std::string name = pwr::utf8FromPath(pwr::pathFromUtf8(baseName_).filename());
  if (name.empty() || name == "." || name == "..") {
    const std::string what =
        given.empty() ? "" : ": it is a folder; add a name, as in '" + nameIn(given) + "'";
    throw CommandError(kExitUsage, "'" + given + "' is no base name of outputs (-o)" + what);
  }
  if (baseName_ != given) {
    inform("the base name of the outputs is '" + baseName_ + "': each writer adds its own ending");
  }
  baseName_ += suffix;
  for (const WriterPlugin* writer : chosen) {
    const pwr::WriterPluginCapability& capability = pwr::PluginLibrary::capability(*writer);
    if (continuous && capability.getFlag()) {
      numberedEndings_.push_back(capability.getContinuousFile().substr(kNumbered.size()));
      continue;
    }
    for (const std::string& file : capability.getFiles()) {
      const std::string ending = endingOf(file);
      files_.push_back(ending.empty() ? folder() / pwr::pathFromUtf8(file)
                                      : pwr::pathFromUtf8(baseName_ + ending));
    }
  }
}

fs::path OutputNames::folder() const {
  return pwr::pathFromUtf8(baseName_).parent_path();
}

void OutputNames::refuseSharedFiles() const {
  for (auto one = files_.begin(); one != files_.end(); ++one) {
    const auto same = std::find_if(one + 1, files_.end(),
                                   [&](const fs::path& other) { return isSameFile(*one, other); });
    if (same != files_.end()) refuseOutput(*one, "the output " + pwr::utf8FromPath(*same));
  }
}

void OutputNames::refuse(const std::string& path, const std::string& role) const {
  const fs::path file = pwr::pathFromUtf8(path);
  for (const fs::path& output : files_) {
    if (isSameFile(output, file)) refuseOutput(output, role);
  }
  if (isNumbered(file) && isSameFile(folder() / file.filename(), file)) refuseOutput(file, role);
}

/// Whether the file's name is that of a numbered output, in whichever folder.
bool OutputNames::isNumbered(const fs::path& file) const {
  const std::string name = pwr::utf8FromPath(file.filename());
  const std::string stem = pwr::utf8FromPath(pwr::pathFromUtf8(baseName_).filename()) + "_";
  if (!name.starts_with(stem)) return false;
  const std::size_t end = name.find_first_not_of("0123456789", stem.size());
  return end != std::string::npos && end > stem.size() &&
         std::ranges::count(numberedEndings_, name.substr(end)) > 0;
}

std::vector<fs::path> OutputNames::leftovers() const {
  std::vector<fs::path> files;
  std::error_code error;
  const fs::path place = folder().empty() ? fs::path(".") : folder();
  for (const fs::directory_entry& entry : fs::directory_iterator(place, error)) {
    const fs::path file = folder() / entry.path().filename();
    if (isNumbered(file)) files.push_back(file);
  }
  return files;
}

std::error_code OutputNames::ensureFolder() const {
  std::error_code error;
  if (!folder().empty()) fs::create_directories(folder(), error);
  return error;
}

void OutputNames::makeFolder() const {
  if (const std::error_code error = ensureFolder()) {
    throw CommandError(kExitIncomplete, "cannot make the folder " + pwr::utf8FromPath(folder()) +
                                            ": " + error.message());
  }
}

}  // namespace tavrin
