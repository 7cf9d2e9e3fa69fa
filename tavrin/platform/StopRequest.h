#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace tavrin {

/// Tells every thread of a run that it shall end. The first request counts, and the first signal.
class StopRequest {
 public:
  using Clock = std::chrono::steady_clock;

  StopRequest();
  ~StopRequest();
  StopRequest(const StopRequest&) = delete;
  StopRequest& operator=(const StopRequest&) = delete;

  /// `signal`: the number of the signal that asks for it; 0 when none does.
  void request(int signal = 0);
  bool isRequested() const { return requested_.load(std::memory_order_acquire); }
  /// The first signal that has asked for it, be it behind a request without one; 0 for none.
  int signal() const { return signal_; }
  /// Waits until `deadline` or a request; true when the stop was requested.
  bool waitUntil(Clock::time_point deadline);
  /// A descriptor that becomes readable with the request, to be polled; -1 on Windows.
  int descriptor() const { return descriptor_; }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<bool> requested_{false};
  std::atomic<int> signal_{0};
  int descriptor_ = -1;
};

}  // namespace tavrin
