#include "tavrin/tracing/CpuBuffer.h"

#include <unistd.h>

namespace tavrin {

void CpuBuffer::fill(const EventDecoder& decoder) {
  if (!hasEvent_) next(decoder);
}

void CpuBuffer::next(const EventDecoder& decoder) {
  hasEvent_ = false;
  while (!hasEvent_) {
    if (hasPage_) {
      hasEvent_ = takeEvent(decoder);
    } else if (!readPage()) {
      return;
    }
  }
}

/// False when there is nothing to be read. A page that begins after a loss makes that the event.
bool CpuBuffer::readPage() {
  const ssize_t length = read(descriptor_, bytes_.data(), bytes_.size());
  if (length <= 0 || trace_api_load_page(page_.get(), bytes_.data()) != 0) return false;
  hasPage_ = true;
  if (trace_api_has_lost(page_.get()) != 0) {
    ++losses_;
    event_ = {.time = lastTime_, .cpu = cpu_, .what = LostEvents{}};
    hasEvent_ = true;
  }
  return true;
}

/// Takes the next event of the page that is known. False at the page's end.
bool CpuBuffer::takeEvent(const EventDecoder& decoder) {
  unsigned long size = 0;
  unsigned long long time = 0;
  while (const void* const bytes = trace_api_event(page_.get(), &time, &size)) {
    trace_api_next_event(page_.get());
    lastTime_ = time;
    const auto what = decoder.decode({static_cast<const std::byte*>(bytes), size});
    if (!what) continue;
    ++events_;
    event_ = {.time = time, .cpu = cpu_, .what = *what};
    return true;
  }
  hasPage_ = false;
  return false;
}

}  // namespace tavrin
