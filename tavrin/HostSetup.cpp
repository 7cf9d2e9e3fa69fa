#include "tavrin/HostSetup.h"

#include <algorithm>
#include <filesystem>

#include "hostcommon/OutputConfigFile.h"
#include "hostcommon/Platform.h"
#include "hostcommon/Utf8Path.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/platform/DynamicLibrary.h"
#include "writers/host/PluginEnvironment.h"

namespace tavrin {

namespace fs = std::filesystem;

namespace {

constexpr const char* kConfigName = "tavrin-output.toml";

/// The configuration that came with the tool; "" when there is none.
std::string installedConfig() {
  const fs::path folder = executableFolder();
  for (const fs::path& candidate :
       {folder / kConfigName, folder / ".." / "share" / "tavrin" / kConfigName}) {
    if (fs::exists(candidate)) return pwr::utf8FromPath(candidate);
  }
  return {};
}

// What the runs of a folder share, under a name that is the same for all.
constexpr const char* kSharedOutput = "Automation_Summary.csv";

/// The last write of `file`, on the clock of `since`.
bool isWrittenSince(const fs::path& file, std::chrono::system_clock::time_point since) {
  std::error_code error;
  const auto written = fs::last_write_time(file, error);
  if (error) return false;
  const auto age = fs::file_time_type::clock::now() - written;
  return std::chrono::system_clock::now() - age >= since - std::chrono::seconds(1);
}

}  // namespace

void setUpHost(const Options& options) {
  g_pluginEnvironment->setVerbosity(static_cast<PWLogLevel>(options.verbosity));
  for (const std::string& channel : options.debugChannels) {
    g_pluginEnvironment->enableDebugLoggingFor(channel);
  }
  pwr::platform::raiseOpenFileLimit();
  const std::string config =
      options.outputConfig.empty() ? installedConfig() : options.outputConfig;
  std::string error;
  if (!config.empty() && pwr::loadOutputConfigFile(config, error) != 0) {
    throw CommandError(kExitUsage, error);
  }
}

void listOutputs(const std::string& baseName, std::chrono::system_clock::time_point since) {
  const fs::path base = pwr::pathFromUtf8(baseName);
  const fs::path folder = base.has_parent_path() ? base.parent_path() : fs::path(".");
  const std::string stem = pwr::utf8FromPath(base.filename());
  std::vector<std::string> files;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    const std::string name = pwr::utf8FromPath(entry.path().filename());
    const bool hasBaseName = name.size() > stem.size() && name.starts_with(stem) &&
                             (name[stem.size()] == '.' || name[stem.size()] == '_');
    if ((hasBaseName || name == kSharedOutput) && entry.is_regular_file(error) &&
        isWrittenSince(entry.path(), since)) {
      files.push_back(base.has_parent_path() ? pwr::utf8FromPath(entry.path()) : name);
    }
  }
  std::ranges::sort(files);
  std::string list;
  for (const std::string& file : files) list += " " + file;
  if (!list.empty()) inform("wrote" + list);
}

int reportIncomplete(const std::vector<std::string>& incomplete) {
  for (const std::string& name : incomplete)
    fail("the output of writer " + name + " is incomplete");
  return incomplete.empty() ? kExitDone : kExitIncomplete;
}

}  // namespace tavrin
