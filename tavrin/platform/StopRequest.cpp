#include "tavrin/platform/StopRequest.h"

namespace tavrin {

void StopRequest::request() {
  {
    const std::lock_guard lock(mutex_);
    flag_ = true;
  }
  changed_.notify_all();
}

bool StopRequest::waitUntil(Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, deadline, [this] { return flag_.load(); });
}

}  // namespace tavrin
