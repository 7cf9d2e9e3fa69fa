#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "tavrin/decoding/RingPage.h"
#include "tavrin/import/PageSource.h"
#include "tavrin/import/Recording.h"

namespace tavrin {

/// The events of one CPU in one buffer of a recording, in the order of time, as bytes.
class CpuEvents {
 public:
  CpuEvents(unsigned int cpu, std::unique_ptr<PageSource> pages, const RingLayout& layout)
      : cpu_(cpu), pages_(std::move(pages)), page_(layout) {}

  /// Goes to the next event or loss. False at the end, which comes early where the pages are
  /// damaged.
  bool next();

  unsigned int cpu() const { return cpu_; }
  /// As the trace clock counts; of a loss, that of the event before it.
  unsigned long long time() const { return time_; }
  /// Whether this is no event but tells that events are missing before the next one.
  bool isLoss() const { return isLoss_; }
  /// How many; 0 where the recording does not tell.
  unsigned long long lost() const { return fault_.empty() ? page_.lost() : 0; }
  std::span<const std::byte> event() const { return page_.event(); }

  /// Where the pages are damaged and how; empty where they are not.
  const std::string& fault() const { return fault_; }

 private:
  bool readPage();

  unsigned int cpu_;
  std::unique_ptr<PageSource> pages_;
  RingPage page_;
  bool hasPage_ = false;
  bool isLoss_ = false;
  unsigned long long time_ = 0;
  std::string fault_;
};

}  // namespace tavrin
