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
  if (length <= 0) return false;
  page_.load(std::span(bytes_).first(static_cast<std::size_t>(length)));
  hasPage_ = true;
  if (page_.isAfterLoss()) {
    ++losses_;
    event_ = {.time = lastTime_, .cpu = cpu_, .what = LostEvents{}};
    hasEvent_ = true;
  }
  return true;
}

/// Takes the next event of the page that is known. False at the page's end.
bool CpuBuffer::takeEvent(const EventDecoder& decoder) {
  while (page_.next()) {
    lastTime_ = page_.time();
    const auto what = decoder.decode(page_.event());
    if (!what) continue;
    ++events_;
    event_ = {.time = lastTime_, .cpu = cpu_, .what = *what};
    return true;
  }
  hasPage_ = false;
  return false;
}

}  // namespace tavrin
