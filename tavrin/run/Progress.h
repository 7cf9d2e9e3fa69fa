#pragma once

#include <string>

namespace tavrin {

/// One line on standard error that tells how the run goes, rewritten in place. Shown only when
/// standard error is a terminal.
class Progress {
 public:
  /// `enabled` false keeps it silent also on a terminal.
  explicit Progress(bool enabled);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(const std::string& text);

  /// Takes the line away, if one is shown, so that something else can be printed.
  static void clearLine();

 private:
  bool enabled_;
};

/// True when text to standard error may be coloured or rewritten: it is a terminal.
bool isTerminal();

}  // namespace tavrin
