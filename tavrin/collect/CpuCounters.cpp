#include "tavrin/collect/CpuCounters.h"

#include "tavrin/collect/Counting.h"

namespace tavrin {

namespace {

/// A little less than a second: passes are not quite regular.
constexpr unsigned long long kCpuCounterPause = kTicksPerSecond / 100 * 95;

}  // namespace

void CpuCounters::add(std::string path, unsigned int cpu, const pwr::EntityHandle* entity,
                      const pwr::DataDescriptor* descriptor) {
  Counter counter{
      .file = OpenFile(std::move(path)), .cpu = cpu, .entity = entity, .descriptor = descriptor};
  if (counter.file.readNumber(counter.before) != 0) return;
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
  if (!isDue(now)) return;
  next_ = now + kCpuCounterPause;
  const bool complete = interval_.advance(now);
  IntervalPoint point(batch, metric_, interval_);
  for (Counter& counter : counters_) {
    unsigned long long count = 0;
    const bool isFound = online.contains(counter.cpu) && counter.file.readNumber(count) == 0;
    const auto growth = growthOf(counter.before, count);
    if (complete && counter.isKnown && isFound && growth) {
      point.add(pwr::Data(*growth), counter.descriptor, counter.entity);
    }
    counter.before = count;
    counter.isKnown = isFound;
  }
}

void CpuCounters::remainder(SampleBatch& batch) {
  const Interval none;
  IntervalPoint point(batch, metric_, none);
  for (Counter& counter : counters_) {
    unsigned long long count = 0;
    if (!counter.isKnown || counter.file.readNumber(count) != 0) continue;
    const auto growth = growthOf(counter.before, count);
    if (growth && *growth != 0) point.add(pwr::Data(*growth), counter.descriptor, counter.entity);
  }
}

}  // namespace tavrin
