#pragma once

#include <curl/curl.h>

#include <chrono>
#include <functional>
#include <memory>

namespace tavrin {

/// The requests that are under way, all in one thread. Must outlive the exchanges that use it.
class Transfers {
 public:
  using Clock = std::chrono::steady_clock;

  /// Throws std::bad_alloc.
  Transfers();

  CURLM* handle() const { return multi_.get(); }
  /// Moves what can be moved, and calls `finished` for each request that has ended, with its handle
  /// and how it ended.
  void perform(const std::function<void(CURL*, CURLcode)>& finished);
  /// Waits until there is something to move, `until`, a wake-up, or until `descriptor` is readable.
  void wait(Clock::time_point until, int descriptor);
  /// Ends a wait, also the next one. From any thread.
  void wakeUp() { curl_multi_wakeup(multi_.get()); }

 private:
  std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi_;
};

}  // namespace tavrin
