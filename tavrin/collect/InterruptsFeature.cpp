#include "tavrin/collect/InterruptsFeature.h"

#include <optional>
#include <string_view>
#include <system_error>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/TextScan.h"

namespace tavrin {

namespace {

struct CounterName {
  std::string_view key;
  const char* name;
  const char* description;
};

constexpr std::array<CounterName, 3> kCounters{{
    {"intr ", "Interrupts", "Interrupts of all kinds on all CPUs"},
    {"ctxt ", "Context Switches", "Changes of the running thread on all CPUs"},
    {"processes ", "Forks", "Processes and threads created"},
}};

using Counts = std::array<std::optional<unsigned long long>, kCounters.size()>;

Counts parse(std::string_view text) {
  Counts counts;
  while (!text.empty()) {
    std::string_view line = takeLine(text);
    for (std::size_t i = 0; i < kCounters.size(); ++i) {
      if (!line.starts_with(kCounters[i].key)) continue;
      line.remove_prefix(kCounters[i].key.size());
      unsigned long long count = 0;
      if (takeNumber(line, count)) counts[i] = count;
    }
  }
  return counts;
}

const pwr::Quantity* createCountQuantity() {
  const pwr::Quantity* rate =
      pwr::createQuantity({.type = pwr::QuantityType::Rate, .name = "Rate", .units = "/s"});
  return pwr::createQuantity(
      {.type = pwr::QuantityType::Count, .name = "Count", .units = "count", .rate = rate});
}

}  // namespace

InterruptsFeature::InterruptsFeature(std::shared_ptr<StatFile> stat)
    : Feature("interrupts", "System Activity", "Interrupts, context switches and forks"),
      stat_(std::move(stat)) {}

std::string InterruptsFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                     unsigned int containerId) {
  std::string text;
  const int error = root.readText(StatFile::kPath, text);
  if (error != 0) {
    return std::string(StatFile::kPath) +
           " cannot be read: " + std::generic_category().message(error);
  }
  const Counts counts = parse(text);
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (std::size_t i = 0; i < kCounters.size(); ++i) {
    if (!counts[i]) continue;
    counters_[i].descriptor = pwr::DataDescriptor::create(
        pwr::DataDescriptorBuilder(kCounters[i].name, kCounters[i].description));
    combinations.push_back({.descriptor = counters_[i].descriptor});
  }
  if (combinations.empty()) return std::string("no event counts in ") + StatFile::kPath;
  stat_->open(root);
  addMetric(pwr::createMetric({.containerId = containerId,
                               .name = "System Activity",
                               .featureTag = tag(),
                               .type = pwr::Metric::MetricType::SampledDelta,
                               .legacyType = pwr::RealTableClass::Counter,
                               .quantity = createCountQuantity(),
                               .combinations = std::move(combinations),
                               .descriptorGroup = std::make_shared<const pwr::Field>("Event")}));
  return {};
}

void InterruptsFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  IntervalPoint point(batch, metrics().front(), interval_);
  const Counts counts = parse(stat_->textAt(now));
  for (std::size_t i = 0; i < counters_.size(); ++i) {
    Counter& counter = counters_[i];
    if (counter.descriptor == nullptr) continue;
    const unsigned long long count = counts[i].value_or(0);
    if (complete && counter.valid && counts[i] && count >= counter.count) {
      point.add(pwr::Data(count - counter.count), counter.descriptor, nullptr);
    }
    counter.count = count;
    counter.valid = counts[i].has_value();
  }
}

}  // namespace tavrin
