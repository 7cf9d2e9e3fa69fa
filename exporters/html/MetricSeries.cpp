#include "exporters/html/MetricSeries.h"

#include <algorithm>
#include <set>

#include "exporters/html/PageText.h"
#include "writers/host/Quantity.h"

namespace {

constexpr std::size_t kMostTexts = 4096;
constexpr std::size_t kMostTextBytes = 0x18000;

std::size_t countDescriptors(const pwr::MetricDescription& metric) {
  std::set<const pwr::DataDescriptor*> descriptors;
  for (const auto& combination : metric.combinations) descriptors.insert(combination.descriptor);
  return descriptors.size();
}

}  // namespace

std::uint32_t TextNumbers::numberOf(std::string_view text) {
  shown_ = pageText(text);
  if (const auto found = numbers_.find(shown_); found != numbers_.end()) return found->second;
  if (texts_.size() >= kMostTexts || bytes_ + shown_.size() > kMostTextBytes) {
    isFull_ = true;
    shown_ = kOthers;
  }
  bytes_ += shown_.size();
  const auto [place, isNew] =
      numbers_.try_emplace(shown_, static_cast<std::uint32_t>(texts_.size()));
  if (isNew) texts_.push_back(shown_);
  return place->second;
}

void PageSeries::addToTotals(const PagePoint& point, double ticksPerSecond) {
  totals.add(point, metric->isSampled());
  if (kind == SeriesKind::Value) totals.addValue(point, metric->meaning.scale, ticksPerSecond);
}

MetricSeries::MetricSeries(const pwr::MetricDescription* metricDescription, double ticksPerSecond)
    : metric(metricDescription),
      meaning(meaningOf(*metricDescription, ticksPerSecond)),
      hasTicks(!pwr::isRate(metricDescription->quantity)),
      descriptors(countDescriptors(*metricDescription)) {
  std::string text;
  if (!meaning.restState.empty()) restState = states.numberOf(meaning.restState);
  if (isResidency()) {
    for (const auto& combination : metric->combinations) {
      if (combination.descriptor != nullptr) states.numberOf(combination.descriptor->getName());
    }
  } else {
    for (const pwr::Data& value : metric->finiteSet) {
      if (value.toFormattedString(text) == 0) states.numberOf(text);
    }
  }
}
