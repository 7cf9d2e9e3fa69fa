#pragma once

#include <cstdio>

#include "writers/host/Logger.h"

namespace pwr {

/// A sink that is a C stream. The first failure sticks: everything after it reports failure too.
class PW_HOST_API FileLogger : public Logger {
 public:
  /// `owned`: close the stream on `close` or destruction.
  FileLogger(FILE* stream, bool owned) : stream_(stream), owned_(owned) {}
  ~FileLogger() override;
  FileLogger(const FileLogger&) = delete;
  FileLogger& operator=(const FileLogger&) = delete;

  void log(PWLogLevel level, const char* line) override;
  int write(const void* bytes, std::size_t count) override;
  int flush() override;
  int close() override;

  bool isOpen() const { return stream_ != nullptr; }

 private:
  FILE* stream_;
  bool owned_;
  bool failed_ = false;
};

}  // namespace pwr
