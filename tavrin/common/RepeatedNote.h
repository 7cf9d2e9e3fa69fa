#pragma once

#include <chrono>
#include <string>

namespace tavrin {

/// Warnings of one kind: the first one is told, those that follow only when some minutes have
/// passed, with the number of those that were not told.
class RepeatedNote {
 public:
  using Clock = std::chrono::steady_clock;

  /// False when it was not told.
  bool tell(const std::string& text);

 private:
  Clock::time_point told_{};
  unsigned long long silent_ = 0;
  bool isTold_ = false;
};

}  // namespace tavrin
