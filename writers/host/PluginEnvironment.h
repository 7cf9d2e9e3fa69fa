#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "writers/host/HostApi.h"
#include "writers/host/Logger.h"

namespace pwr {
class OutputFileLogger;
}

/// The host's process-wide environment. Writers only read it; the host sets it up before it loads
/// them, through the operations marked "host".
class PW_HOST_API PluginEnvironment {
 public:
  /// Logs to standard error, at verbosity `PW_LOG_WARNING`, with every debug switch off.
  PluginEnvironment();
  ~PluginEnvironment();
  PluginEnvironment(const PluginEnvironment&) = delete;
  PluginEnvironment& operator=(const PluginEnvironment&) = delete;

  PWLogLevel getVerbosity() const { return verbosity_; }
  bool isDebugLoggingEnabledFor(const std::string& tag) const { return debugTags_.contains(tag); }
  /// False unless a debug switch is on: a cheap test that spares the look-up of a tag.
  bool isAnyDebugLoggingEnabled() const { return !debugTags_.empty(); }
  /// The error sink for `PW_LOG_ERROR`, the general sink for every other level. Never null.
  pwr::Logger* getLogger(PWLogLevel level) const;
  /// "ERROR", "WARNING", "DEBUG", "INFO"; empty for notes.
  const char* getLoggerPrefix(PWLogLevel level) const;
  /// A handle bound to the file `name`, or the one that is still open under that name. The file
  /// appears under its name when the handle is closed and everything that was written has reached
  /// it; what had the name stays as it was until then. After a failure, what there is stands in
  /// NAME.incomplete. Null when the file cannot be created (errno tells why). Valid until it is
  /// closed.
  pwr::Logger* getFileOutputHandle(const char* name) const;

  /// Tells of a file that came about, when it has got its name: `path` is the whole of it if it is
  /// complete, and otherwise what could be written of it, under another name where that was
  /// possible. Called by whoever writes final files; handles that come from `getFileOutputHandle`
  /// do it by themselves.
  void noteOutput(const std::string& path, bool isComplete) const;

  /// True while the host ends a run that lacks something, as one whose input was cut short does.
  /// What its outputs hold is not complete then, however well it was written.
  bool isRunIncomplete() const { return isRunIncomplete_; }

  // Host:
  void setVerbosity(PWLogLevel verbosity) { verbosity_ = verbosity; }
  void enableDebugLoggingFor(const std::string& tag) { debugTags_.insert(tag); }
  /// Replaces both sinks. Null puts standard error back.
  void setSinks(std::shared_ptr<pwr::Logger> errorSink, std::shared_ptr<pwr::Logger> generalSink);
  /// Called with what `noteOutput` is told, by the same thread. An empty function ends that.
  using OutputListener = std::function<void(const std::string& path, bool isComplete)>;
  void setOutputListener(OutputListener listener) { outputListener_ = std::move(listener); }
  void setRunIncomplete(bool isIncomplete) { isRunIncomplete_ = isIncomplete; }

 private:
  PWLogLevel verbosity_ = PW_LOG_WARNING;
  std::set<std::string> debugTags_;
  std::shared_ptr<pwr::Logger> errorSink_;
  std::shared_ptr<pwr::Logger> generalSink_;
  OutputListener outputListener_;
  bool isRunIncomplete_ = false;
  mutable std::map<std::string, std::unique_ptr<pwr::OutputFileLogger>> files_;
};

/// Never null: points to a default environment until the host puts its own there.
extern PW_HOST_API PluginEnvironment* g_pluginEnvironment;
