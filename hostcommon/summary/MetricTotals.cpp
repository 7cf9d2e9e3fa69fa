#include "hostcommon/summary/MetricTotals.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>

#include "writers/host/Quantity.h"

namespace pwr {

namespace {

/// The number modulo 2^64, if it is an integer; else 0.
unsigned long long wholeNumber(const Data& value) {
  long long integer = 0;
  unsigned long long natural = 0;
  if (value.getType() == DataType::UInt) {
    value.toUInt(natural);
  } else if (value.getType() == DataType::Int) {
    value.toInt(integer);
    natural = static_cast<unsigned long long>(integer);
  }
  return natural;
}

bool isTransition(const MetricDescription& metric) {
  return metric.type == Metric::MetricType::TracedValueTransition;
}

}  // namespace

void SeriesTotals::addToSum(const Data& addend, double number) {
  sum += number;
  whole = whole && addend.getType() != DataType::Real;
  wholeSum += wholeNumber(addend);
}

void SeriesTotals::addTotals(const SeriesTotals& other) {
  sum += other.sum;
  weightedSum += other.weightedSum;
  whole = whole && other.whole;
  wholeSum += other.wholeSum;
  durationTicks = std::max(durationTicks, other.durationTicks);
}

Data SeriesTotals::total() const {
  // The real sum, although rounded, tells which number it is that equals `wholeSum` modulo 2^64.
  constexpr double kLeast = -0x1p63 * 0.99;
  constexpr double kMost = 0x1p64 * 0.99;
  constexpr double kSurelyPositive = 0x1p62;
  if (!whole || !(sum > kLeast && sum < kMost)) return Data(sum);
  return sum > kSurelyPositive ? Data(wholeSum) : Data(static_cast<long long>(wholeSum));
}

MetricTotals::MetricTotals(const MetricDescription* metric)
    : MetricTotals(metric, isTransition(*metric) && !metric->finiteSet.empty()) {
  const bool isTemperature =
      metric->quantity != nullptr && metric->quantity->toQuantity() == QuantityType::Temperature;
  if (isTransition(*metric) && !hasStates_ && !isTemperature) {
    levels_ = std::shared_ptr<MetricTotals>(new MetricTotals(metric, true));
  }
}

/// Messages mostly have the series of the one before in the same order.
SeriesTotals& MetricTotals::find(const DataElement& element) {
  const SeriesKey key{element.getEntity(), element.getDescriptor()};
  if (next_ == series_.size()) next_ = 0;
  if (next_ < series_.size() && !series_[next_].isText &&
      key == SeriesKey{series_[next_].entity, series_[next_].descriptor}) {
    return series_[next_++];
  }
  const auto [found, isNew] = numeric_.try_emplace(key, series_.size());
  if (isNew) series_.push_back({.entity = key.entity, .descriptor = key.descriptor});
  next_ = found->second + 1;
  return series_[found->second];
}

const SeriesTotals* MetricTotals::find(const EntityHandle* entity,
                                       const DataDescriptor* descriptor) const {
  const auto found = numeric_.find({entity, descriptor});
  return found == numeric_.end() ? nullptr : &series_[found->second];
}

/// The place of the series with the value in `text_`.
std::size_t MetricTotals::findText(const SeriesKey& key, Category& category) {
  const auto found = category.byText.find(text_);
  if (found != category.byText.end()) return found->second;
  if (texts_ == kMostTexts) return kOthers;
  ++texts_;
  series_.push_back(
      {.entity = key.entity, .descriptor = key.descriptor, .isText = true, .value = text_});
  return category.byText.emplace(text_, series_.size() - 1).first->second;
}

void MetricTotals::end(Category& category, unsigned long long timestamp) {
  if (category.lasting != kNone && timestamp > category.since) {
    at(category.lasting).durationTicks += timestamp - category.since;
  }
  category.lasting = kNone;
}

void MetricTotals::addNumber(const DataElement& element, double number) {
  SeriesTotals& series = find(element);
  series.minimum = series.count == 0 ? number : std::min(series.minimum, number);
  series.maximum = series.count == 0 ? number : std::max(series.maximum, number);
  series.addToSum(*element.getValue(), number);
  series.weightedSum += number * static_cast<double>(element.getDuration());
  series.durationTicks += element.getDuration();
  ++series.count;
}

void MetricTotals::addText(const DataElement& element, unsigned long long timestamp) {
  const SeriesKey key{element.getEntity(), element.getDescriptor()};
  Category& category = categories_[key];
  element.getValue()->toFormattedString(text_);
  const std::size_t index = findText(key, category);
  end(category, timestamp);
  SeriesTotals& series = at(index);
  series.durationTicks += element.getDuration();
  ++series.count;
  if (isTransition(*metric_) && element.getDuration() == 0) {
    category.lasting = index;
    category.since = timestamp;
  }
}

void MetricTotals::add(const Metric::DataPoint& point) {
  ++messages_;
  for (const DataElement& element : point.elements) {
    double number = 0.0;
    const bool isNumber = !hasStates_ && element.getValue()->toReal(number) == 0;
    // NaN says no more than a value that is missing, and would spoil all that it is added to.
    if (element.getValue()->getType() == DataType::None || std::isnan(number)) continue;
    ++values_;
    if (isNumber) {
      addNumber(element, number);
    } else {
      categorical_ = true;
      addText(element, point.timestamp);
    }
  }
  if (levels_ != nullptr) addLevels(point);
}

void MetricTotals::addLevels(const Metric::DataPoint& point) {
  const std::vector<SeriesTotals>& series = levels_->series_;
  std::size_t known = series.size();
  if (!categorical_) levels_->add(point);
  for (; known < series.size(); ++known) levelValues_.insert(series[known].value);
  if (categorical_ || levelValues_.size() > kMostLevels) levels_.reset();
}

void MetricTotals::addRemainder(const Metric::DataPoint& point) {
  for (const DataElement& element : point.elements) {
    double number = 0.0;
    if (element.getValue()->toReal(number) != 0 || std::isnan(number)) continue;
    find(element).addToSum(*element.getValue(), number);
  }
}

std::vector<Metric::EntityDescCombo> MetricTotals::silent() const {
  // No event is missing that has not happened.
  if (metric_->type == Metric::MetricType::TracedEvent) return {};
  std::set<std::pair<const void*, const void*>> known;
  for (const SeriesTotals& series : series_) known.emplace(series.entity, series.descriptor);
  for (const SeriesKey& key : leftOut_) known.emplace(key.entity, key.descriptor);
  std::vector<Metric::EntityDescCombo> silent;
  for (const Metric::EntityDescCombo& combination : metric_->combinations) {
    const bool isNew = known.emplace(combination.entity, combination.descriptor).second;
    if (isNew) silent.push_back(combination);
  }
  return silent;
}

MetricTotals MetricTotals::withSeries(std::vector<SeriesTotals> series) const {
  MetricTotals other(metric_, hasStates_);
  other.others_ = others_;
  other.messages_ = messages_;
  other.values_ = values_;
  other.categorical_ = categorical_;
  for (const SeriesTotals& one : series_) other.leftOut_.push_back({one.entity, one.descriptor});
  for (std::size_t i = 0; i < series.size(); ++i) {
    if (!series[i].isText)
      other.numeric_.emplace(SeriesKey{series[i].entity, series[i].descriptor}, i);
  }
  other.series_ = std::move(series);
  return other;
}

void MetricTotals::endStates(unsigned long long timestamp) {
  for (auto& [key, category] : categories_) end(category, timestamp);
  if (levels_ != nullptr) levels_->endStates(timestamp);
}

}  // namespace pwr
