#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "tavrin/common/ByteOrder.h"

namespace tavrin {

/// How a kernel lays out the pages of its trace buffers (`events/header_page`).
struct RingLayout {
  ByteOrder order{};
  std::size_t longSize = sizeof(long);  ///< of that kernel: 4 or 8
};

/// A page of a kernel's trace buffer (`trace_pipe_raw`), event by event
/// (include/linux/ring_buffer.h and `events/header_event`). Nothing outside of the page is read,
/// whatever is in it.
///
/// Calls: `load`, then `next` until it is false, then `fault`.
class RingPage {
 public:
  explicit RingPage(RingLayout layout = {}) : layout_(layout) {}

  /// Begins with a page, which stays the caller's; `isCut` where its rest is missing.
  void load(std::span<const std::byte> page, bool isCut = false);

  /// Whether events are missing between the page before and this one, and how many; 0 where the
  /// kernel does not tell.
  bool isAfterLoss() const { return isAfterLoss_; }
  unsigned long long lost() const { return lost_; }

  /// Goes to the next event. False behind the last one and at something that no kernel writes.
  bool next();
  /// Of the present event: nanoseconds or what else the trace clock counts, and its bytes.
  unsigned long long time() const { return time_; }
  std::span<const std::byte> event() const { return event_; }

  /// What ended the page before its end, at the byte `position()`; null where nothing did.
  const char* fault() const { return fault_; }
  std::size_t position() const { return position_; }

 private:
  std::size_t dataOffset() const { return kCommitOffset + layout_.longSize; }
  std::uint64_t longAt(std::size_t position) const;
  bool take(std::size_t offset, std::size_t size, std::size_t total);
  bool step(std::size_t size);
  bool fail(const char* fault);

  static constexpr std::size_t kCommitOffset = 8;

  RingLayout layout_;
  std::span<const std::byte> page_;
  std::size_t position_ = 0;
  std::size_t end_ = 0;  // of what is used
  bool isAfterLoss_ = false;
  unsigned long long lost_ = 0;
  unsigned long long time_ = 0;
  std::span<const std::byte> event_;
  const char* fault_ = nullptr;
};

}  // namespace tavrin
