#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "writers/host/HostApi.h"
#include "writers/host/Logger.h"

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
  /// A handle bound to the file `name`, created or emptied now, or the one that is still open under
  /// that name. Null when the file cannot be opened (errno tells why). Valid until it is closed.
  pwr::Logger* getFileOutputHandle(const char* name) const;

  // Host:
  void setVerbosity(PWLogLevel verbosity) { verbosity_ = verbosity; }
  void enableDebugLoggingFor(const std::string& tag) { debugTags_.insert(tag); }
  /// Replaces both sinks. Null puts standard error back.
  void setSinks(std::shared_ptr<pwr::Logger> errorSink, std::shared_ptr<pwr::Logger> generalSink);

 private:
  PWLogLevel verbosity_ = PW_LOG_WARNING;
  std::set<std::string> debugTags_;
  std::shared_ptr<pwr::Logger> errorSink_;
  std::shared_ptr<pwr::Logger> generalSink_;
  mutable std::map<std::string, std::unique_ptr<pwr::Logger>> files_;
};

/// Never null: points to a default environment until the host puts its own there.
extern PW_HOST_API PluginEnvironment* g_pluginEnvironment;
