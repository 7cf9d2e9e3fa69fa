#include "tavrin/summary/MetricTotals.h"

#include <algorithm>
#include <functional>

namespace tavrin {

std::size_t MetricTotals::KeyHash::operator()(const Key& key) const {
  const std::hash<const void*> hash;
  return hash(key.entity) * 31 + hash(key.descriptor);
}

MetricTotals::MetricTotals(const pwr::MetricDescription* metric) : metric_(metric) {}

SeriesTotals& MetricTotals::find(const pwr::DataElement& element) {
  const Key key{element.getEntity(), element.getDescriptor()};
  const auto [found, isNew] = numeric_.try_emplace(key, series_.size());
  if (isNew) series_.push_back({.entity = key.entity, .descriptor = key.descriptor});
  return series_[found->second];
}

SeriesTotals& MetricTotals::findCategory(const pwr::DataElement& element) {
  const Key key{element.getEntity(), element.getDescriptor()};
  element.getValue()->toFormattedString(text_);
  auto& byText = categories_[key];
  auto found = byText.find(text_);
  if (found == byText.end()) {
    found = byText.emplace(text_, series_.size()).first;
    series_.push_back({.entity = key.entity, .descriptor = key.descriptor, .value = text_});
  }
  return series_[found->second];
}

void MetricTotals::add(const pwr::Metric::DataPoint& point) {
  ++messages_;
  for (const pwr::DataElement& element : point.elements) {
    double number = 0.0;
    const bool isNumber = element.getValue()->toReal(number) == 0;
    if (!isNumber && element.getValue()->getType() == pwr::DataType::None) continue;
    categorical_ = categorical_ || !isNumber;
    ++values_;
    SeriesTotals& series = isNumber ? find(element) : findCategory(element);
    series.minimum = series.count == 0 ? number : std::min(series.minimum, number);
    series.maximum = series.count == 0 ? number : std::max(series.maximum, number);
    series.sum += number;
    series.whole = series.whole && element.getValue()->getType() != pwr::DataType::Real;
    series.durationTicks += element.getDuration();
    ++series.count;
  }
}

void MetricTotals::addRemainder(const pwr::Metric::DataPoint& point) {
  for (const pwr::DataElement& element : point.elements) {
    double number = 0.0;
    if (element.getValue()->toReal(number) == 0) find(element).sum += number;
  }
}

}  // namespace tavrin
