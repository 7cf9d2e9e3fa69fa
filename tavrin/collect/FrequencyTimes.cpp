#include "tavrin/collect/FrequencyTimes.h"

#include <utility>

#include "hostcommon/NumberText.h"
#include "tavrin/collect/Counting.h"
#include "tavrin/collect/TextScan.h"

namespace tavrin {

namespace {

/// Keeps damaged tables from making series without end.
constexpr std::size_t kMostFrequencies = 1024;

}  // namespace

/// "2400.5 MHz".
const pwr::DataDescriptor* FrequencyTimes::descriptor(unsigned long long kilohertz) {
  const pwr::DataDescriptor*& known = descriptors_[kilohertz];
  if (known == nullptr) {
    std::string name;
    pwr::appendShortest(name, static_cast<double>(kilohertz) / 1000.0);
    known = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name + " MHz", ""));
  }
  return known;
}

void FrequencyTimes::add(std::string path, const pwr::EntityHandle* entity) {
  Policy policy{.file = OpenFile(std::move(path)), .entity = entity};
  std::string_view text;
  if (policy.file.readText(text) != 0) return;
  while (!text.empty() && policy.kilohertz.size() < kMostFrequencies) {
    std::string_view line = takeLine(text);
    unsigned long long kilohertz = 0;
    unsigned long long jiffies = 0;
    if (!takeNumber(line, kilohertz) || !takeNumber(line, jiffies)) continue;
    policy.kilohertz.push_back(kilohertz);
    policy.descriptors.push_back(descriptor(kilohertz));
  }
  const std::size_t count = policy.kilohertz.size();
  if (count == 0) return;
  policy.carry = ResidencyCarry(count);
  for (auto* const values : {&policy.before, &policy.now, &policy.ticks}) values->resize(count);
  policies_.push_back(std::move(policy));
}

std::vector<pwr::Metric::EntityDescCombo> FrequencyTimes::combinations() const {
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (const Policy& policy : policies_) {
    for (const auto* descriptor : policy.descriptors) {
      combinations.push_back({policy.entity, descriptor});
    }
  }
  return combinations;
}

/// Lines are a frequency in kHz and the time spent at it. Returns false when they are not those of
/// the start.
bool FrequencyTimes::read(Policy& policy) {
  std::string_view text;
  if (policy.file.readText(text) != 0) return false;
  for (std::size_t i = 0; i < policy.kilohertz.size(); ++i) {
    std::string_view line = takeLine(text);
    unsigned long long kilohertz = 0;
    if (!takeNumber(line, kilohertz) || kilohertz != policy.kilohertz[i]) return false;
    if (!takeNumber(line, policy.now[i])) return false;
  }
  return true;
}

/// Sets the ticks of the interval. Returns false when a time has run backwards.
bool FrequencyTimes::grow(Policy& policy) {
  for (std::size_t i = 0; i < policy.now.size(); ++i) {
    const auto growth = growthOf(policy.before[i], policy.now[i], ticksPerJiffy());
    if (!growth) return false;
    policy.ticks[i] = *growth;
  }
  return true;
}

void FrequencyTimes::sample(unsigned long long now, const pwr::MetricDescription* metric,
                            SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  IntervalPoint point(batch, metric, interval_);
  for (Policy& policy : policies_) {
    const bool isRead = read(policy);
    const bool wasKnown = std::exchange(policy.isKnown, isRead);
    if (complete && wasKnown && isRead && grow(policy)) {
      policy.carry.attribute(interval_.length(), policy.ticks);
      for (std::size_t i = 0; i < policy.ticks.size(); ++i) {
        point.add(pwr::Data(policy.ticks[i]), policy.descriptors[i], policy.entity);
      }
    } else {
      policy.carry.restart();
    }
    policy.before.swap(policy.now);
  }
}

void FrequencyTimes::remainder(const pwr::MetricDescription* metric, SampleBatch& batch) const {
  const Interval none;
  IntervalPoint point(batch, metric, none);
  for (const Policy& policy : policies_) {
    const std::vector<unsigned long long> ticks = policy.carry.remainder();
    for (std::size_t i = 0; i < ticks.size(); ++i) {
      if (ticks[i] != 0) point.add(pwr::Data(ticks[i]), policy.descriptors[i], policy.entity);
    }
  }
}

}  // namespace tavrin
