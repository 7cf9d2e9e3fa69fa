#pragma once

#include <cstddef>
#include <string>

#include "tavrin/platform/StopRequest.h"

namespace tavrin {

/// A file, a pipe or standard input, read as its bytes come. A stop request ends the wait for more.
class InputFile {
 public:
  /// Opens `path`; "-" is standard input. A FIFO is opened at once, whether or not anything writes
  /// to it yet. `stop` may be null and is not owned. Throws CommandError.
  explicit InputFile(const std::string& path, const StopRequest* stop = nullptr);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// Waits for the next bytes and reads them, at most `size`. Returns their number, 0 at the end or
  /// after a stop, or -1 with errno set.
  long long read(char* buffer, std::size_t size);

  /// Whether a stop has ended the reading: of a file as soon as it was requested, of a live input
  /// once `read` has seen it.
  bool isStopped() const;
  /// Whether this is not a file, which is there as a whole, but what a program or a person still
  /// writes to. Standard input counts as such whatever it is. A stop ends a live input, while it
  /// cuts a file short.
  bool isLive() const { return live_; }
  /// How messages name it.
  const std::string& name() const { return name_; }
  int descriptor() const { return descriptor_; }

 private:
  const std::string name_;
  const StopRequest* stop_;
  int descriptor_;
  bool live_ = true;
  bool stopSeen_ = false;
};

}  // namespace tavrin
