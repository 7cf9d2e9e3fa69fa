#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "packing/Packing.h"
#include "tavrin/stream/StreamWriter.h"

namespace tavrin {

/// The recorded stream that is kept of a live run. It is a journal: written in place and handed to
/// the system at least once a second, so that a run that is killed leaves all but its last second.
/// A name that ends in ".gz" or ".zst" has it packed, a frame for each time that it is handed over.
class Capture {
 public:
  using Clock = std::chrono::steady_clock;

  /// Opens and empties the file; "-" is standard output. A pipe or a device is written directly, a
  /// link to a file is refused: it may have been planted. Throws CommandError.
  explicit Capture(const std::string& path);
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  StreamWriter& writer() { return writer_; }
  /// To be called several times a second: hands over what was recorded when that is due.
  void keepUp(Clock::time_point now);
  /// Writes the last record and closes the file. False when the stream is not complete.
  bool finish(const pwr::SystemMetadata& metadata);

 private:
  using File = std::unique_ptr<FILE, int (*)(FILE*)>;

  bool handOver();
  bool writePacked();
  static ssize_t pack(void* capture, const char* bytes, size_t size);

  std::unique_ptr<Packer> packer_;  ///< null where nothing is packed
  File file_;
  std::string packed_;  ///< what is ready to be written
  File unpacked_;       ///< what is written to it gets packed; null without a packer
  StreamWriter writer_;
  Clock::time_point nextFlush_{};
  bool failed_ = false;
};

}  // namespace tavrin
