#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "tavrin/platform/ChildProcess.h"

namespace tavrin {

/// The way from a configuration to a changed one: a child process is asked whether it could record
/// with it; then the run ends, and the process begins anew, with its number and its arguments. What
/// is kept for the life of a process (descriptions, numbers of files) begins anew with it.
class Reload {
 public:
  /// `arguments`: those of the process, without its name.
  explicit Reload(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {}

  /// Asks for it, from any thread.
  void request() { isRequested_ = true; }

  enum class Progress { None, Begun, Refused, Accepted };
  /// What is new. To be called several times a second by one thread.
  Progress keepUp();
  /// Whether it is under way, and may take a moment only.
  bool isUnderWay() const { return isRequested_ || check_ != nullptr; }
  bool isAccepted() const { return isAccepted_; }

 private:
  void startCheck();

  const std::vector<std::string> arguments_;
  std::atomic<bool> isRequested_{false};
  std::unique_ptr<ChildProcess> check_;
  bool isAccepted_ = false;
};

/// Replaces the process by a new one with these arguments. Call when nothing of the run is left.
/// Throws CommandError when that fails.
[[noreturn]] void beginAnew(std::vector<std::string> arguments);

}  // namespace tavrin
