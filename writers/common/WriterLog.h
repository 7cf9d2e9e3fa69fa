#pragma once

#include <string>

#include "writers/host/HostApi.h"
#include "writers/host/PluginEnvironment.h"

/// Where the writers' log lines pass through. A line of some level is produced when the host's
/// verbosity is at least that level, or when the debug switch of the channel's tag is on.
class WriterLog {
 public:
  /// `debugTag`: name of the debug switch that shows all lines of the channel; empty for none.
  explicit WriterLog(const char* debugTag) : debugTag_(debugTag) {}

  bool shows(PWLogLevel level) const {
    return g_pluginEnvironment->getVerbosity() >= level ||
           (g_pluginEnvironment->isAnyDebugLoggingEnabled() &&
            g_pluginEnvironment->isDebugLoggingEnabledFor(debugTag_));
  }

  /// Formats a line and hands it to the sink of its level, whatever `shows` says.
  void write(PWLogLevel level, const char* format, ...) const PW_PRINTF_LIKE(3, 4);

 private:
  const std::string debugTag_;
};

/// Writes a log line if the channel shows it. A line that is off costs a comparison: its arguments
/// are not evaluated.
#define PW_LOG(channel, level, ...)                                    \
  do {                                                                 \
    if ((channel).shows(level)) (channel).write((level), __VA_ARGS__); \
  } while (false)
