#pragma once

#include <string>

#include "hostcommon/HostLog.h"

/// What the command says to its user, on standard error, through the same sink and thresholds as
/// the writers' log lines.
namespace tavrin {

/// Sends all log lines, also those of the writers, to standard error, with what could steer a
/// terminal escaped. To be called first of all.
void logToStandardError();

using pwr::fail;
using pwr::inform;
using pwr::warn;

/// One line on standard error that tells how the run goes, rewritten in place. Shown only when
/// standard error is a terminal that can do that. The other messages take it away before they
/// appear.
class Progress {
 public:
  /// `enabled` false keeps it silent also on a terminal.
  explicit Progress(bool enabled);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(const std::string& text);
  bool isShown() const { return enabled_; }

 private:
  bool enabled_;
};

}  // namespace tavrin
