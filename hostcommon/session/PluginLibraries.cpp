#include "hostcommon/session/PluginLibraries.h"

#include <algorithm>
#include <map>

#include "hostcommon/HostLog.h"
#include "hostcommon/Utf8Path.h"
#include "hostcommon/session/DynamicLibrary.h"
#include "hostcommon/session/HostError.h"

namespace pwr {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAll = "all";
constexpr const char* kEvery = "every";

/// A file that may be a plugin library.
struct Candidate {
  fs::path file;
  bool isRequired;  ///< not one that just lies there
};

bool hasPluginName(const fs::path& file) {
  const std::string name = utf8FromPath(file.filename());
  return name.starts_with(kPluginStart) && name.ends_with(kPluginEnd);
}

std::vector<fs::path> sortedPlugins(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    if (hasPluginName(entry.path()) && !entry.is_directory(error)) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

std::vector<Candidate> findCandidates(const std::vector<std::string>& named,
                                      const std::vector<fs::path>& folders) {
  std::vector<Candidate> found;
  found.reserve(named.size());
  // Links to a file are that file.
  const auto same = [&found](const fs::path& file) {
    return std::ranges::find_if(found, [&file](const Candidate& one) {
      std::error_code error;
      return fs::equivalent(one.file, file, error);
    });
  };
  for (const std::string& name : named) {
    const fs::path file = pathFromUtf8(name);
    if (same(file) == found.end()) found.push_back({file, true});
  }
  const auto hasNameOfFound = [&found](const fs::path& file) {
    return std::ranges::any_of(
        found, [&file](const Candidate& one) { return one.file.filename() == file.filename(); });
  };
  for (const fs::path& folder : folders) {
    for (const fs::path& file : sortedPlugins(folder)) {
      if (hasNameOfFound(file)) continue;
      if (const auto one = same(file); one != found.end()) {
        one->file = file;
      } else {
        found.push_back({file, false});
      }
    }
  }
  return found;
}

/// Brings the library of the tool's own formats to the front.
void beginWithOwn(std::vector<Candidate>& candidates, const std::vector<fs::path>& folders) {
  const auto own = std::ranges::find_if(
      candidates, [](const Candidate& one) { return one.file.filename() == kPluginLibraryName; });
  if (own == candidates.end()) {
    throw HostError(HostError::Cause::Failure,
                    "cannot find the plugin library " + std::string(kPluginLibraryName) + " in " +
                        utf8FromPath(folders.front()) + " (use --plugin PATH)");
  }
  own->isRequired = true;
  std::rotate(candidates.begin(), own, own + 1);
}

/// Null for one that is left out.
std::unique_ptr<PluginLibrary> load(const Candidate& candidate) {
  const std::string path = utf8FromPath(candidate.file);
  try {
    auto library = PluginLibrary::load(path);
    if (library != nullptr || !candidate.isRequired) return library;
  } catch (const HostError& error) {
    if (candidate.isRequired) throw;
    warn(error.what());
    return nullptr;
  }
  throw HostError(HostError::Cause::Failure, path +
                                                 " is not a plugin library: it does not export "
                                                 "createPlugins and destroyPlugins");
}

}  // namespace

std::vector<fs::path> pluginFolders() {
  const fs::path own = libraryFolder();
  return {executableFolder(), own, own / "tavrin"};
}

PluginLibraries::PluginLibraries(const std::vector<std::string>& named,
                                 const std::vector<fs::path>& folders) {
  std::vector<Candidate> candidates = findCandidates(named, folders);
  beginWithOwn(candidates, folders);
  for (const Candidate& candidate : candidates) {
    if (auto library = load(candidate)) libraries_.push_back(std::move(library));
  }
  refuseTwins();
}

void PluginLibraries::refuseTwins() const {
  std::map<std::string, const PluginLibrary*> owners;
  for (const auto& library : libraries_) {
    for (const WriterPlugin* writer : library->writers()) {
      const auto [owner, isNew] = owners.emplace(PluginLibrary::nameOf(*writer), library.get());
      if (isNew) continue;
      throw HostError(HostError::Cause::Request, "two writers have the name '" + owner->first +
                                                     "': one of " + owner->second->path() +
                                                     ", one of " + library->path());
    }
  }
}

std::vector<WriterPlugin*> PluginLibraries::writers() const {
  return select({kEvery});
}

std::vector<WriterPlugin*> PluginLibraries::select(const std::vector<std::string>& names) const {
  const auto isAskedFor = [&names](const std::string& name) {
    return std::ranges::count(names, name) > 0;
  };
  std::vector<std::string> known;
  std::vector<WriterPlugin*> selected;
  for (const auto& library : libraries_) {
    const bool isWhole = isAskedFor(kEvery) || (library == libraries_.front() && isAskedFor(kAll));
    for (WriterPlugin* writer : library->writers()) {
      known.push_back(PluginLibrary::nameOf(*writer));
      if (isWhole || isAskedFor(known.back())) selected.push_back(writer);
    }
  }
  known.insert(known.end(), {kAll, kEvery});
  requireKnown(names, known, "writer");
  return selected;
}

}  // namespace pwr
