#pragma once

#include <cstddef>
#include <string>

#include "tavrin/platform/ByteSource.h"
#include "tavrin/platform/StopRequest.h"

namespace tavrin {

/// A file, a pipe or standard input, read as its bytes come. A stop request ends the wait for more.
class InputFile final : public ByteSource {
 public:
  /// Opens `path`; "-" is standard input. A FIFO is opened at once, whether or not anything writes
  /// to it yet. `stop` may be null and is not owned. Throws CommandError.
  explicit InputFile(const std::string& path, const StopRequest* stop = nullptr);
  ~InputFile() override;
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  long long read(char* buffer, std::size_t size) override;
  std::string readError() const override;
  bool isStopped() const override;
  bool isLive() const override { return live_; }
  const std::string& name() const override { return name_; }
  std::string path() const override { return live_ ? std::string() : name_; }

 private:
  const std::string name_;
  const StopRequest* stop_;
  int descriptor_;
  int error_ = 0;  ///< errno of the last `read`
  bool live_ = true;
  bool stopSeen_ = false;
};

}  // namespace tavrin
