#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "hostcommon/StagedFile.h"

namespace pwr {

/// A final file, with the one way in which outputs fail: the first failure is remembered, what was
/// written then ends up as NAME.incomplete when the file is closed, an error line names it, and
/// `close` returns 1. The host is told of every file that came about (`PluginEnvironment::
/// noteOutput`). Until the file is closed, what had its name before stays as it was.
class OutputFile {
 public:
  /// Creates the file that will be `path` (UTF-8). False with errno set on failure, for the caller
  /// to report. Call while no file is open.
  bool open(const std::string& path);
  bool isOpen() const { return file_.isOpen(); }
  /// Of the latest `open`.
  const std::string& getPath() const { return file_.getPath(); }

  /// Appends to the file. False, writing nothing from then on, when this or an earlier write has
  /// failed since it was opened.
  bool write(std::string_view text);
  /// For those who write by themselves, and tell `noteFailure` if that fails. Null unless the file
  /// is open.
  FILE* stream() const { return file_.stream(); }
  /// Tells that something could not be written, for the cause `errnum`. The first one counts.
  void noteFailure(int errnum);
  /// Tells that the file lacks something, of which the user has been told. The rest is written.
  void noteLoss() { isComplete_ = false; }
  bool isComplete() const { return isComplete_; }
  /// The errno value of the first failure since the file was opened; 0 without.
  int getFailure() const { return errnum_; }

  /// Ends the file: it gets its name if it is complete. Returns 1 when it is not (logged), or when
  /// no file is open.
  int close();
  /// Ends the file without leaving anything of it. Told to nobody. The destructor does the same.
  void discard() { file_.discard(); }

 private:
  void reportIncomplete_i(bool isKept) const;

  StagedFile file_;
  bool isComplete_ = true;
  int errnum_ = 0;  ///< why it is not complete; 0 when that has been told
};

}  // namespace pwr
