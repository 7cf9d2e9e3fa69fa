#pragma once

#include <cstddef>

#include "writers/host/HostApi.h"

/// How important a log line is. A line is shown when the host's verbosity is at least its level.
/// Informational lines rank above debug lines on purpose: they need the highest verbosity.
enum PWLogLevel : int {
  PW_LOG_NOTE = 0,  ///< always shown, unless the verbosity is negative
  PW_LOG_ERROR = 1,
  PW_LOG_WARNING = 2,
  PW_LOG_DEBUG = 3,
  PW_LOG_INFO = 4,
};

namespace pwr {

/// A sink for log lines or, when it comes from `PluginEnvironment::getFileOutputHandle`, for the
/// bytes of a file. Owned by the environment; never deleted by a writer.
class PW_HOST_API Logger {
 public:
  virtual ~Logger();

  /// Writes one finished line (it ends with a line break, where one is wanted).
  virtual void log(PWLogLevel level, const char* line) = 0;

  /// Appends `count` bytes of any value. This and the two below return 0, or 1 when this or an
  /// earlier operation failed since the output was opened: an output is complete only if `close`
  /// returns 0.
  virtual int write(const void* bytes, std::size_t count) = 0;
  virtual int flush() = 0;
  /// After this the handle is invalid; asking the environment for its name again starts a new file.
  virtual int close() = 0;
  /// The same for a file that is not to be: nothing of it is left, and what had its name before is
  /// still there. Other sinks are closed.
  virtual void discard() { close(); }
};

}  // namespace pwr
