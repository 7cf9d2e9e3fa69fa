#pragma once

#include <cstddef>
#include <vector>

#include "tavrin/decoding/EventDecoder.h"
#include "tavrin/decoding/RingPage.h"
#include "tavrin/events/KernelEvent.h"

namespace tavrin {

/// The events of one CPU in the order of time, from its trace buffer (`trace_pipe_raw`), page by
/// page. A page that comes after a loss begins with a `LostEvents`, as of its last event before.
class CpuBuffer {
 public:
  /// `descriptor` reads a page at a time without waiting and is not owned.
  CpuBuffer(unsigned int cpu, int descriptor) : cpu_(cpu), descriptor_(descriptor) {}

  /// The present event; null when none has been read. Its texts are valid until `next` or `fill`.
  const KernelEvent* event() const { return hasEvent_ ? &event_ : nullptr; }
  /// Reads on if there is no present event.
  void fill(const EventDecoder& decoder);
  /// Goes on to the next event, which may have to be read.
  void next(const EventDecoder& decoder);

  /// Events decoded, and pages that came after a loss.
  unsigned long long events() const { return events_; }
  unsigned long long losses() const { return losses_; }

 private:
  static constexpr std::size_t kLargestPage = 64U << 10U;

  bool readPage();
  bool takeEvent(const EventDecoder& decoder);

  unsigned int cpu_;
  int descriptor_;
  std::vector<std::byte> bytes_ = std::vector<std::byte>(kLargestPage);
  RingPage page_;
  bool hasPage_ = false;
  bool hasEvent_ = false;
  KernelEvent event_;
  unsigned long long lastTime_ = 0;
  unsigned long long events_ = 0;
  unsigned long long losses_ = 0;
};

}  // namespace tavrin
