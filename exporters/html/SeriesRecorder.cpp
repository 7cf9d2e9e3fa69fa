#include "exporters/html/SeriesRecorder.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "writers/common/EventAttributes.h"

namespace {

/// So many processes have series of their own; what others use is that of "others".
constexpr std::size_t kMostOwners = 16384;

/// The attributes that tell the name of a process, of samples and of events.
constexpr std::array<std::string_view, 2> kNameAttributes{pwr::kProcessAttribute, "Name"};

/// The middle of a range; NaN for what is none.
double middleOf(const pwr::Data& value) {
  pwr::Data range = value;
  pwr::Data::RealPair ends;
  if (range.multiplyValue(1.0) != 0 || range.toRealRange(ends) != 0) return std::nan("");
  return ends.first / 2 + ends.second / 2;
}

bool isRange(const pwr::Data& value) {
  return value.getType() >= pwr::DataType::IntRange && value.getType() <= pwr::DataType::RealRange;
}

SeriesOwner ownerOf(const pwr::DataElement& element) {
  SeriesOwner owner;
  owner.pid = EventOwner::of(element).pid.value_or(-1);
  forEachAttribute(element, [&](const std::string& name, const pwr::Quantity* /*quantity*/,
                                const pwr::Data& value) {
    if (std::ranges::count(kNameAttributes, name) > 0) value.toString(owner.name);
  });
  return owner;
}

/// What an event is shown as: also whose it was.
void appendOwner(const pwr::DataElement& element, std::string& text) {
  if (element.getAttributes() == nullptr && element.getAdditionalInfo() == nullptr) return;
  const SeriesOwner owner = ownerOf(element);
  if (!owner.name.empty()) text += " " + owner.name;
  if (owner.pid >= 0) text += " (" + std::to_string(owner.pid) + ")";
}

}  // namespace

MetricSeries& SeriesRecorder::metricOf(const pwr::Metric& metric) {
  if (last_ != nullptr && last_->metric == metric.getDescription()) return *last_;
  MetricSeries*& known = byId_[metric.getId()];
  if (known == nullptr) {
    known = &metrics_.emplace_back(metric.getDescription(), store_.ticksPerSecond());
    known->order = metrics_.size();
  }
  return *(last_ = known);
}

void SeriesRecorder::add(const pwr::Metric& metric) {
  const unsigned long long timestamp = metric.getData().timestamp;
  const auto distance = static_cast<long long>(timestamp - start_);
  MetricSeries& series = metricOf(metric);
  const bool isBefore = timestamp < start_;
  if (isBefore != (distance < 0) || distance < -kMostTicks || distance > kMostTicks) {
    outOfRange_ += metric.getData().elements.size();
    return;
  }
  PagePoint point{.start = distance};
  for (const pwr::DataElement& element : metric.getData().elements) {
    const unsigned long long length = series.hasTicks ? element.getDuration() : 0;
    if (length > static_cast<unsigned long long>(kMostTicks)) {
      ++outOfRange_;
      continue;
    }
    point.length = static_cast<long long>(length);
    addElement(series, element, point);
  }
  for (PageSeries* const gathered : gathering_) endResidency(*gathered, distance);
  gathering_.clear();
}

void SeriesRecorder::addElement(MetricSeries& metric, const pwr::DataElement& element,
                                PagePoint& point) {
  const pwr::Data& value = *element.getValue();
  const bool isNumber =
      !(metric.meaning.hasStates && !metric.isResidency()) && value.toReal(point.value) == 0;
  if (!isNumber && !isRange(value)) {
    if (value.getType() != pwr::DataType::None) addText(metric, element, point);
    return;
  }
  if (!isNumber) point.value = middleOf(value);
  if (!std::isfinite(point.value)) {
    ++notFinite_;
  } else if (metric.isResidency()) {
    addResidency(metric, element, point);
  } else if (metric.metric->type == pwr::Metric::MetricType::TracedEvent &&
             !metric.meaning.isPerProcess) {
    addText(metric, element, point);
  } else {
    addNumber(metric, element, point);
  }
}

PageSeries& SeriesRecorder::seriesOf(MetricSeries& metric, const pwr::DataElement& element,
                                     PageSeries* MetricSeries::Slot::*which, SeriesKind kind) {
  // The states of a residency are told by the descriptors.
  const bool isWhole = metric.isResidency() && which == &MetricSeries::Slot::value;
  const pwr::DataDescriptor* const descriptor = isWhole ? nullptr : element.getDescriptor();
  MetricSeries::Slot& slot =
      metric.slots.find(element.getEntity(), descriptor, [] { return MetricSeries::Slot(); });
  PageSeries*& series = slot.*which;
  if (series == nullptr) series = &store_.make(metric, element.getEntity(), descriptor, kind);
  return *series;
}

void SeriesRecorder::addNumber(MetricSeries& metric, const pwr::DataElement& element,
                               PagePoint& point) {
  PageSeries& series =
      metric.meaning.isPerProcess
          ? ownedSeries(metric, element)
          : seriesOf(metric, element, &MetricSeries::Slot::value, SeriesKind::Value);
  store_.take(series, point);
}

PageSeries& SeriesRecorder::ownedSeries(MetricSeries& metric, const pwr::DataElement& element) {
  const pwr::EntityHandle* const entity = element.getEntity();
  const auto keyOf = [&](const SeriesOwner& owner) {
    return std::to_string(entity == nullptr ? 0 : entity->getId()) + " " +
           std::to_string(owner.pid) + " " + owner.name;
  };
  SeriesOwner owner = ownerOf(element);
  auto found = metric.owned.find(keyOf(owner));
  if (found == metric.owned.end() && metric.owned.size() >= kMostOwners) {
    owner = {.name = "others"};
    found = metric.owned.find(keyOf(owner));
  }
  if (found != metric.owned.end()) return *found->second;
  PageSeries& series = store_.make(metric, entity, nullptr, SeriesKind::Value);
  metric.owned.emplace(keyOf(owner), &series);
  series.owner = std::make_shared<const SeriesOwner>(std::move(owner));
  return series;
}

void SeriesRecorder::addText(MetricSeries& metric, const pwr::DataElement& element,
                             PagePoint& point) {
  if (element.getValue()->toFormattedString(text_) != 0) return;
  const bool isEvent = metric.metric->type == pwr::Metric::MetricType::TracedEvent;
  if (isEvent) appendOwner(element, text_);
  point.value = (isEvent ? metric.texts : metric.states).numberOf(text_);
  store_.take(seriesOf(metric, element, &MetricSeries::Slot::texts,
                       isEvent ? SeriesKind::Events : SeriesKind::States),
              point);
}

/// The states of an entity come as an element each, in any order with those of other entities.
void SeriesRecorder::addResidency(MetricSeries& metric, const pwr::DataElement& element,
                                  PagePoint& point) {
  PageSeries& series = seriesOf(metric, element, &MetricSeries::Slot::value, SeriesKind::States);
  const pwr::DataDescriptor* const descriptor = element.getDescriptor();
  const std::uint32_t state =
      metric.states.numberOf(descriptor == nullptr ? metric.metric->name : descriptor->getName());
  const bool isTold = state < series.gathered.size() && !std::isnan(series.gathered[state]);
  if (isTold && metric.states.isShared(state)) {
    series.gathered[state] += point.value;
    return;
  }
  if (!series.gathered.empty() && (isTold || series.gatheredLength != point.length)) {
    endResidency(series, point.start);
  }
  if (series.gathered.empty()) gathering_.push_back(&series);
  if (state >= series.gathered.size()) series.gathered.resize(state + 1, std::nan(""));
  series.gathered[state] = point.value;
  series.gatheredLength = point.length;
}

void SeriesRecorder::endResidency(PageSeries& series, long long start) {
  if (series.gathered.empty()) return;
  const MetricSeries& metric = *series.metric;
  double told = 0.0;
  for (double& ticks : series.gathered) {
    if (std::isnan(ticks)) ticks = 0.0;
    told += ticks;
  }
  if (!metric.meaning.restState.empty() && series.gathered[metric.restState] == 0.0) {
    series.gathered[metric.restState] =
        std::max(0.0, static_cast<double>(series.gatheredLength) - told);
  }
  store_.take(series, {.start = start, .length = series.gatheredLength, .ticks = series.gathered});
  series.gathered.clear();
}
