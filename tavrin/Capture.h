#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "tavrin/stream/StreamWriter.h"

namespace tavrin {

/// The recorded stream that is kept of a live run. It is a journal: written in place and handed to
/// the system at least once a second, so that a run that is killed leaves all but its last second.
class Capture {
 public:
  using Clock = std::chrono::steady_clock;

  /// Opens and empties the file; "-" is standard output. A pipe or a device is written directly, a
  /// link to a file is refused: it may have been planted. Throws CommandError.
  explicit Capture(const std::string& path);

  StreamWriter& writer() { return writer_; }
  /// To be called several times a second: hands over what was recorded when that is due.
  void keepUp(Clock::time_point now);
  /// Writes the last record and closes the file. False when the stream is not complete.
  bool finish(const pwr::SystemMetadata& metadata);

 private:
  using File = std::unique_ptr<FILE, int (*)(FILE*)>;

  File file_;
  StreamWriter writer_;
  Clock::time_point nextFlush_{};
  bool failed_ = false;
};

}  // namespace tavrin
