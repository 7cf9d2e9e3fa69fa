#include "tavrin/platform/StopRequest.h"

#if !defined(_WIN32)
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#endif

namespace tavrin {

StopRequest::StopRequest() {
#if !defined(_WIN32)
  descriptor_ = eventfd(0, EFD_CLOEXEC);
  if (descriptor_ < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot prepare for a stop");
  }
#endif
}

StopRequest::~StopRequest() {
#if !defined(_WIN32)
  close(descriptor_);
#endif
}

void StopRequest::request(int signal) {
  {
    const std::lock_guard lock(mutex_);
    if (signal_ == 0) signal_ = signal;
    if (requested_) return;
    requested_.store(true, std::memory_order_release);
#if !defined(_WIN32)
    eventfd_write(descriptor_, 1);
#endif
  }
  changed_.notify_all();
}

bool StopRequest::waitUntil(Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, deadline, [this] { return requested_.load(); });
}

}  // namespace tavrin
