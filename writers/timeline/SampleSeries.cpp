#include "writers/timeline/SampleSeries.h"

#include <algorithm>

#include "writers/timeline/TimelineLog.h"

int SampleTimes::checkNotLater_i(std::uint64_t tsc) {
  if (tsc == start_ && last_ == start_) return 0;
  const PWLogLevel level = isFaultTold_ ? PW_LOG_DEBUG : PW_LOG_NOTE;
  isFaultTold_ = true;
  if (tsc < start_) {
    TIMELINE_LINE(level, "FATAL",
                  "Current sample TSC is <= collection start TSC. Samples are required to be "
                  "monotonically increasing in time. '%s' current TSC: %llu <= collection start "
                  "TSC: %llu\n",
                  key_.c_str(), static_cast<unsigned long long>(tsc),
                  static_cast<unsigned long long>(start_));
  } else {
    TIMELINE_LINE(level, "FATAL",
                  "Current sample TSC is <= previous sample's TSC. Samples are required to be "
                  "monotonically increasing in time. '%s' current TSC: %llu <= previous TSC: "
                  "%llu\n",
                  key_.c_str(), static_cast<unsigned long long>(tsc),
                  static_cast<unsigned long long>(last_));
  }
  return 1;
}

void HeldState::hold(std::uint64_t tsc, const AttributeList& list) {
  tsc_ = tsc;
  count_ = list.count;
  record_.assign(list.record.begin(),
                 list.record.begin() + static_cast<std::ptrdiff_t>(list.end()));
  isHeld_ = true;
}

void HeldState::release(AttributeList& list) {
  std::ranges::copy(record_, list.record.begin());
  list.count = count_;
  isHeld_ = false;
}
