#include "tavrin/collect/FrequencyTimes.h"

#include <string_view>
#include <utility>

#include "hostcommon/NumberText.h"
#include "tavrin/common/TextScan.h"

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
  Policy policy{.file = OpenFile(std::move(path))};
  TimeTable::Descriptors descriptors;
  std::string_view text;
  if (policy.file.readText(text) != 0) return;
  while (!text.empty() && policy.kilohertz.size() < kMostFrequencies) {
    std::string_view line = takeLine(text);
    unsigned long long kilohertz = 0;
    unsigned long long jiffies = 0;
    if (!takeNumber(line, kilohertz) || !takeNumber(line, jiffies)) continue;
    policy.kilohertz.push_back(kilohertz);
    descriptors.push_back(descriptor(kilohertz));
  }
  if (descriptors.empty()) return;
  policy.jiffies.resize(descriptors.size());
  policy.row = times_.add(entity, descriptors);
  policies_.push_back(std::move(policy));
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
    if (!takeNumber(line, policy.jiffies[i])) return false;
  }
  return true;
}

void FrequencyTimes::sample(unsigned long long now, const pwr::MetricDescription* metric,
                            SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  for (Policy& policy : policies_) {
    if (read(policy)) times_.note(policy.row, policy.jiffies);
  }
  times_.emit(metric, complete, interval_, batch);
}

}  // namespace tavrin
