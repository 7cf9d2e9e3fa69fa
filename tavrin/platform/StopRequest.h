#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace tavrin {

/// Tells every thread of a run that the collection shall end. Only the first request counts.
class StopRequest {
 public:
  using Clock = std::chrono::steady_clock;

  void request();
  bool isRequested() const { return flag_.load(std::memory_order_relaxed); }
  /// For code that only knows a flag.
  const std::atomic<bool>& flag() const { return flag_; }
  /// Waits until `deadline` or a request; true when the stop was requested.
  bool waitUntil(Clock::time_point deadline);

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<bool> flag_{false};
};

}  // namespace tavrin
