#include "tavrin/HostSetup.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "hostcommon/OutputConfigFile.h"
#include "hostcommon/Platform.h"
#include "hostcommon/Utf8Path.h"
#include "hostcommon/session/DynamicLibrary.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "writers/host/LogChannels.h"
#include "writers/host/PluginEnvironment.h"

namespace tavrin {

namespace fs = std::filesystem;

namespace {

constexpr const char* kConfigName = "tavrin-output.toml";

/// An option that one writer knows.
struct WriterOption {
  const char* name;
  const char* writer;
  unsigned long long value;  // 0 where the user has not set it
};

std::array<WriterOption, 3> writerOptionsOf(const Options& options) {
  return {{{"--page-size", "html", options.pageSize},
           {"--start-time", "lines", options.startTimeNs},
           {"--series-limit", "lines", options.seriesLimit}}};
}

/// The first of the files that is there; "" if none is.
std::string firstOf(const std::vector<fs::path>& candidates) {
  std::error_code unknown;
  const auto found = std::ranges::find_if(
      candidates, [&unknown](const fs::path& file) { return fs::exists(file, unknown); });
  return found == candidates.end() ? std::string() : pwr::utf8FromPath(*found);
}

std::string channelList() {
  std::string list;
  for (const char* channel : kLogChannels) list.append(list.empty() ? "" : ", ").append(channel);
  return list;
}

}  // namespace

std::string installedConfig() {
  const fs::path folder = pwr::executableFolder();
  return firstOf({folder / kConfigName, folder.parent_path() / "share" / "tavrin" / kConfigName});
}

std::string installedPage(const std::string& name) {
  return firstOf({pwr::executableFolder().parent_path() / "share" / "doc" / "tavrin" / name});
}

void setUpHost(const Options& options) {
  g_pluginEnvironment->setVerbosity(static_cast<PWLogLevel>(options.verbosity));
  for (const std::string& channel : options.debugChannels) {
    g_pluginEnvironment->enableDebugLoggingFor(channel);
    if (std::ranges::count(kLogChannels, channel) > 0) continue;
    warn("--debug " + channel + " has no effect; channels are: " + channelList());
  }
  pwr::platform::raiseOpenFileLimit();
  const std::string config =
      options.outputConfig.empty() ? installedConfig() : options.outputConfig;
  std::string error;
  if (!config.empty() && pwr::loadOutputConfigFile(config, error) != 0) {
    throw CommandError(kExitUsage, error);
  }
}

OutputNames nameOutputs(const Options& options, const pwr::PluginLibraries& plugins,
                        const std::vector<WriterPlugin*>& writers, bool continuous,
                        const std::string& suffix) {
  const auto nameOf = [](const WriterPlugin* writer) {
    return pwr::PluginLibrary::nameOf(*writer);
  };
  const auto hasContinuousResults = [](const WriterPlugin* writer) {
    return pwr::PluginLibrary::capability(*writer).getFlag();
  };
  if (continuous && std::ranges::none_of(writers, hasContinuousResults)) {
    warn("--continuous has no effect: none of the chosen writers has continuous results");
  }
  for (const auto& [option, writer, value] : writerOptionsOf(options)) {
    if (value == 0 || std::ranges::count(writers, std::string(writer), nameOf) > 0) continue;
    warn(std::string(option) + " has no effect: the writer '" + writer + "' is not chosen");
  }
  OutputNames names(options.output, plugins, writers, continuous, suffix);
  names.refuseSharedFiles();
  if (!options.outputConfig.empty()) names.refuse(options.outputConfig, "the output configuration");
  return names;
}

std::vector<std::string> writerOptions(const Options& options) {
  std::vector<std::string> set;
  for (const auto& [option, writer, value] : writerOptionsOf(options)) {
    if (value != 0) set.push_back(std::string(option) + "=" + std::to_string(value));
  }
  // The first files of the run will be removed before the last ones.
  if (options.keep.isAny()) set.emplace_back("--standalone-files=1");
  return set;
}

int replayStatus(const ByteSource& input, const StopRequest& stop, const Import& replayed,
                 const std::string& error) {
  if (!error.empty()) {
    fail(error);
    return kExitIncomplete;
  }
  for (const std::string& warning : replayed.warnings()) warn(warning);
  if (!input.isStopped()) return kExitDone;
  if (!input.isLive()) fail(input.name() + ": stopped by a signal before its end");
  return kExitSignalOffset + stop.signal();
}

int reportIncomplete(const std::vector<std::string>& incomplete) {
  for (const std::string& name : incomplete)
    fail("the output of writer " + name + " is incomplete");
  return incomplete.empty() ? kExitDone : kExitIncomplete;
}

}  // namespace tavrin
