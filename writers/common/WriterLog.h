#pragma once

#include <cstddef>
#include <string>
#include <unordered_set>

#include "writers/host/HostApi.h"
#include "writers/host/PluginEnvironment.h"

/// Where the writers' log lines pass through. A line of some level is produced when the host's
/// verbosity is at least that level, or when the debug switch of the channel's tag is on.
class WriterLog {
 public:
  /// `debugTag`: name of the debug switch that shows all lines of the channel; empty for none.
  explicit WriterLog(const char* debugTag) : debugTag_(debugTag) {}

  /// Always inline: a call takes longer than the answer, and every message asks a few times.
  [[gnu::always_inline]] bool shows(PWLogLevel level) const {
    return g_pluginEnvironment->getVerbosity() >= level ||
           (g_pluginEnvironment->isAnyDebugLoggingEnabled() && isDebugging());
  }

  /// Formats a line and hands it to the sink of its level, whatever `shows` says. A line of debug
  /// level whose format begins with "WARNING: " begins with "DEBUG: " instead.
  void write(PWLogLevel level, const char* format, ...) const PW_PRINTF_LIKE(3, 4);

 private:
  bool isDebugging() const;

  const std::string debugTag_;
};

/// Which problems with data have been told. A fault in the data tends to come with every sample: it
/// is a warning once for each series, and a debug line from then on.
class ToldProblems {
 public:
  /// The level of the next line about a problem with a series. `problem` is a literal that names
  /// the problem, by its address; `metric` and the pointers say with which series it is: what does
  /// not matter, or is not there, is 0 and null. Beyond some thousand series with problems, further
  /// ones are debug lines at once.
  PWLogLevel levelOf(const char* problem, unsigned int metric, const void* entity = nullptr,
                     const void* descriptor = nullptr);

 private:
  struct Told {
    const char* problem;
    unsigned int metric;
    const void* entity;
    const void* descriptor;
    bool operator==(const Told&) const = default;
  };
  struct Hash {
    std::size_t operator()(const Told& told) const;
  };

  std::unordered_set<Told, Hash> told_;
};

/// Writes a log line if the channel shows it. A line that is off costs a comparison: its arguments
/// are not evaluated, but for the level, once.
#define PW_LOG(channel, level, ...)             \
  do {                                          \
    const PWLogLevel pwLogLevel = (level);      \
    if ((channel).shows(pwLogLevel)) {          \
      (channel).write(pwLogLevel, __VA_ARGS__); \
    }                                           \
  } while (false)
