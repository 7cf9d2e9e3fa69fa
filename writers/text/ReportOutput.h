#pragma once

#include <string>
#include <string_view>

#include "hostcommon/OutputFile.h"
#include "writers/common/GatheredOutput.h"

/// The final file of a text writer, with an optional echo on the process's standard output. Each
/// of the two goes on when the other one fails.
class ReportOutput {
 public:
  /// Creates the file that will be `path`. False with errno set when that fails.
  bool open(const std::string& path) { return file_.open(path); }

  /// Whether what follows also goes to standard output. Switching it off flushes standard output.
  void setEcho(bool echo);
  void append(std::string_view text) { pending_.append(text); }
  /// Appends blanks.
  void pad(std::size_t count) { pending_.pad(count); }
  /// Tells that the report lacks something, of which the user has been told.
  void noteLoss() { file_.noteLoss(); }

  /// Gives the file its name. Returns 0, or 1 (logged) when anything since `open` was lost or did
  /// not reach the file or standard output.
  int close();

 private:
  void write(std::string_view text);
  void noteEchoFailure();

  pwr::OutputFile file_;
  GatheredOutput pending_{[this](std::string_view text) { write(text); }};
  bool echo_ = false;
  bool echoFailed_ = false;
};
