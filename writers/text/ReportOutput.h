#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include "writers/common/GatheredOutput.h"

/// The final file of a text writer, with an optional echo on the process's standard output. The
/// first failure of the file is logged and sticks; `close` reports it.
class ReportOutput {
 public:
  ReportOutput() = default;
  /// Closes the file without completing it, if `close` was not called.
  ~ReportOutput();
  ReportOutput(const ReportOutput&) = delete;
  ReportOutput& operator=(const ReportOutput&) = delete;

  /// Creates or empties the file. False with errno set when that fails.
  bool open(const std::string& path);
  bool isOpen() const { return file_ != nullptr; }

  /// Whether what follows also goes to standard output. Switching it off flushes standard output.
  void setEcho(bool echo);
  void append(std::string_view text) { pending_.append(text); }
  /// Appends blanks.
  void pad(std::size_t count) { pending_.pad(count); }

  /// Returns 0, or 1 when anything since `open` did not reach the file or standard output.
  int close();

 private:
  void write(std::string_view text);
  void fail(const char* name, int errnum);

  FILE* file_ = nullptr;
  std::string path_;
  GatheredOutput pending_{[this](std::string_view text) { write(text); }};
  bool echo_ = false;
  bool failed_ = false;
  bool echoFailed_ = false;
};
