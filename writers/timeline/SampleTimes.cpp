#include "writers/timeline/SampleTimes.h"

#include "writers/timeline/TimelineLog.h"

int SampleTimes::checkNotLater_i(std::uint64_t tsc) const {
  if (tsc < start_) {
    PW_LOG(kTimelineLog, PW_LOG_NOTE,
           "FATAL: KorvellWriterPlugin:    Current sample TSC is <= collection start TSC. Samples "
           "are required to be monotonically increasing in time. '%s' current TSC: %llu <= "
           "collection start TSC: %llu\n",
           key_.c_str(), static_cast<unsigned long long>(tsc),
           static_cast<unsigned long long>(start_));
    return 1;
  }
  const bool isStillAtStart = tsc == start_ && last_ == start_;
  if (!isStillAtStart) {
    PW_LOG(kTimelineLog, PW_LOG_NOTE,
           "FATAL: KorvellWriterPlugin:    Current sample TSC is <= previous sample's TSC. Samples "
           "are required to be monotonically increasing in time. '%s' current TSC: %llu <= "
           "previous TSC: %llu\n",
           key_.c_str(), static_cast<unsigned long long>(tsc),
           static_cast<unsigned long long>(last_));
    return 1;
  }
  return 0;
}
