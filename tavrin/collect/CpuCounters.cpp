#include "tavrin/collect/CpuCounters.h"

#include <algorithm>
#include <utility>

#include "tavrin/collect/Counting.h"

namespace tavrin {

namespace {

/// A little less than a second: passes are not quite regular.
constexpr unsigned long long kCpuCounterPause = kTicksPerSecond / 100 * 95;

}  // namespace

void CpuCounters::add(std::string path, unsigned int cpu, const pwr::EntityHandle* entity,
                      const pwr::DataDescriptor* descriptor) {
  Counter counter{.file = OpenFile(std::move(path), OpenFile::Use::Rare),
                  .cpu = cpu,
                  .entity = entity,
                  .descriptor = descriptor};
  if (counter.file.readNumber(counter.before) != 0) return;
  entities_.insert(entity);
  counters_.push_back(std::move(counter));
}

std::vector<pwr::Metric::EntityDescCombo> CpuCounters::combinations() const {
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (const Counter& counter : counters_) {
    combinations.push_back({counter.entity, counter.descriptor});
  }
  return combinations;
}

void CpuCounters::sample(unsigned long long now, const OnlineCpus& online, SampleBatch& batch) {
  const Interval none;
  IntervalPoint point(batch, metric_, none);
  const std::size_t most = std::exchange(hasBegun_, true) ? kMostPerPass : counters_.size();
  for (std::size_t i = 0; i < std::min(most, counters_.size()) && isDue(now); ++i) {
    Counter& counter = counters_[next_];
    read(counter, now, online.contains(counter.cpu), point);
    next_ = (next_ + 1) % counters_.size();
  }
}

void CpuCounters::read(Counter& counter, unsigned long long now, bool isOnline,
                       IntervalPoint& point) {
  counter.due = now + kCpuCounterPause;
  const bool complete = counter.interval.advance(now);
  unsigned long long count = 0;
  const bool isFound = isOnline && counter.file.readNumber(count) == 0;
  const auto growth = growthOf(counter.before, count);
  if (complete && counter.isKnown && isFound && growth) {
    point.of(counter.interval).add(pwr::Data(*growth), counter.descriptor, counter.entity);
    counter.isTold = true;
  }
  counter.before = count;
  counter.isKnown = isFound;
}

void CpuCounters::remainder(SampleBatch& batch) {
  const Interval none;
  IntervalPoint point(batch, metric_, none);
  for (Counter& counter : counters_) {
    unsigned long long count = 0;
    if (!counter.isKnown || counter.file.readNumber(count) != 0) continue;
    const auto growth = growthOf(counter.before, count);
    // Of a run that was shorter than the pause, that nothing was counted is told here alone.
    if (!growth || (*growth == 0 && counter.isTold)) continue;
    point.add(pwr::Data(*growth), counter.descriptor, counter.entity);
  }
}

}  // namespace tavrin
