#pragma once

#include <string>

#include "hostcommon/OutputFile.h"
#include "writers/host/Logger.h"

namespace pwr {

/// A sink that is an output file.
class OutputFileLogger : public Logger {
 public:
  /// Creates the file. False with errno set on failure.
  bool open(const std::string& path) { return file_.open(path); }
  bool isOpen() const { return file_.isOpen(); }

  void log(PWLogLevel level, const char* line) override;
  int write(const void* bytes, std::size_t count) override;
  int flush() override;
  int close() override;
  void discard() override { file_.discard(); }

 private:
  OutputFile file_;
};

}  // namespace pwr
