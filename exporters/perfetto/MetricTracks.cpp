#include "exporters/perfetto/MetricTracks.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "writers/common/EventAttributes.h"
#include "writers/common/MetricTraits.h"
#include "writers/host/Quantity.h"

namespace pftrace {

namespace {

using Type = pwr::Metric::MetricType;

constexpr std::size_t kMostOwners = 4096;

// Ranks of tracks of a metric: of one metric in the order of its descriptors.
constexpr unsigned int kMostMetricRank = 1U << 23U;
constexpr std::size_t kRanksOfMetric = 64;

constexpr std::int32_t kGapsRank = 1;

constexpr const char* kGapsGroup = "No samples";
constexpr std::string_view kGap = "no samples";

/// Null where there is none.
const pwr::Quantity* rateOf(const pwr::MetricDescription& metric, double& factor) {
  const pwr::Quantity* rate = nullptr;
  if (metric.type != Type::SampledDelta || metric.quantity == nullptr) return nullptr;
  return metric.quantity->getRateConversion(rate, factor) == 0 ? rate : nullptr;
}

std::vector<const pwr::DataDescriptor*> descriptorsOf(const pwr::MetricDescription& metric) {
  std::vector<const pwr::DataDescriptor*> descriptors;
  for (const auto& [entity, descriptor] : metric.combinations) {
    if (std::ranges::find(descriptors, descriptor) == descriptors.end()) {
      descriptors.push_back(descriptor);
    }
    if (descriptors.size() >= kRanksOfMetric) break;
  }
  return descriptors;
}

std::optional<std::int32_t> idFrom(std::optional<long long> number) {
  const bool isId = number && *number >= 0 && *number <= std::numeric_limits<std::int32_t>::max();
  return isId ? std::optional(static_cast<std::int32_t>(*number)) : std::nullopt;
}

/// False where the value is not finite.
bool toAmount(const pwr::Data& value, Amount& amount) {
  long long whole = 0;
  if (value.getType() != pwr::DataType::Real && value.toInt(whole) == 0) {
    amount = {.isWhole = true, .whole = whole};
    return true;
  }
  return value.toReal(amount.real) == 0 && std::isfinite(amount.real);
}

/// Whether it says nothing: no value, or a handle of nothing.
bool isNothing(const pwr::Data& value) {
  const pwr::DataHandle* handle = nullptr;
  const bool isHandle = value.getType() == pwr::DataType::Handle && value.toHandle(handle) == 0;
  return value.getType() == pwr::DataType::None || (isHandle && handle == nullptr);
}

double realOf(const Amount& amount) {
  return amount.isWhole ? static_cast<double>(amount.whole) : amount.real;
}

}  // namespace

MetricTracks::MetricTracks(const pwr::Metric& metric)
    : description_(metric.getDescription()),
      type_(metric.getMetricType()),
      unit_(CounterUnit::of(metric.getQuantity())),
      descriptors_(descriptorsOf(*description_)) {
  if (type_ == Type::SampledResidency) scaledUnit_ = CounterUnit{.name = "%"};
  if (const auto* const rate = rateOf(*description_, rateFactor_)) {
    scaledUnit_ = CounterUnit::of(rate);
  }
}

void MetricTracks::add(Trace& trace, const pwr::Metric& metric) {
  const unsigned long long time = metric.getData().timestamp;
  const bool hasTicks = !pwr::isRate(description_->quantity);
  for (const pwr::DataElement& element : metric.getData().elements) {
    if (isNothing(*element.getValue())) continue;
    addElement(trace, element, {time, hasTicks ? element.getDuration() : 0});
  }
}

void MetricTracks::addElement(Trace& trace, const pwr::DataElement& element, const Span& span) {
  const std::optional<Span> inRun = trace.inRun(span);
  if (!inRun) return leaveOut(trace, element, "is not within the run");
  SeriesTracks& series = find(trace, element);
  if (!series.isInOrder(inRun->time)) return leaveOut(trace, element, "is before the last one");
  if (isEvent()) {
    addEvent(trace, series, element, *inRun);
  } else if (element.getValue()->isNumeric()) {
    addNumber(trace, series, element, *inRun, span.length);
  } else {
    addState(trace, series, element, *inRun);
  }
}

/// A number is no name: there would be as many names as numbers.
void MetricTracks::addEvent(Trace& trace, SeriesTracks& series, const pwr::DataElement& element,
                            const Span& span) {
  collectAnnotations(element);
  if (span.length != 0) {
    lengthOfEvent_ = pwr::Data(trace.clock.nanoseconds(span.length));
    annotations_.push_back({"Duration (ns)", &lengthOfEvent_});
  }
  const std::uint64_t time = trace.clock.nanoseconds(span.time);
  if (element.getValue()->isNumeric()) {
    annotations_.push_back({"Value", element.getValue()});
    series.events(trace).instant(trace.file, time, description_->name, annotations_);
  } else {
    if (element.getValue()->toString(text_) != 0) return;
    series.events(trace).instant(trace.file, time, text_, annotations_);
  }
}

/// `length`: of all that the value stands for, of which `span` is what is in the run.
void MetricTracks::addNumber(Trace& trace, SeriesTracks& series, const pwr::DataElement& element,
                             const Span& span, unsigned long long length) {
  Amount amount;
  if (!toAmount(*element.getValue(), amount)) return leaveOut(trace, element, "is not finite");
  const bool isScaled = scaledUnit_ && length != 0;
  if (isScaled && type_ == Type::SampledResidency) {
    amount = {.real = 100.0 * realOf(amount) / static_cast<double>(length)};
  } else if (isScaled) {
    amount = {.real = realOf(amount) * rateFactor_ / trace.clock.seconds(length)};
  } else if (pwr::isTime(description_->quantity)) {
    amount = {.real = realOf(amount) * 1e9 * trace.clock.seconds(1)};
  }
  if (!std::isfinite(realOf(amount))) return leaveOut(trace, element, "is not finite");
  CounterTrack& counter =
      series.counter(trace, isScaled ? SeriesTracks::Scale::OfTime : SeriesTracks::Scale::Plain,
                     isScaled ? *scaledUnit_ : unit_);
  const bool isBehindGap = isGap(counter, span.time);
  if (isBehindGap) addGap(trace, counter.end(), span.time);
  counter.add(trace, span, amount, isBehindGap);
}

/// Transitions follow each other without a gap. Of samples, times that were rounded on their way do
/// not make one.
bool MetricTracks::isGap(const CounterTrack& counter, unsigned long long time) const {
  const unsigned long long gap = counter.gapBefore(time);
  return isTransition() ? gap != 0 : gap > counter.length() / 2;
}

/// Gaps of several series at once are told once.
void MetricTracks::addGap(Trace& trace, unsigned long long from, unsigned long long to) {
  from = std::max(from, gapsEnd_);
  if (from >= to) return;
  if (gaps_ == nullptr) {
    const TrackPlace place{trace.tree.group(kGapsGroup, kGapsRank), rankOf(nullptr)};
    gaps_ = std::make_unique<TrackSequence>(trace.tree.addTrack(description_->name, place));
  }
  gaps_->begin(trace.file, trace.clock.nanoseconds(from), kGap, {});
  gaps_->end(trace.file, trace.clock.nanoseconds(to));
  gapsEnd_ = to;
}

void MetricTracks::addState(Trace& trace, SeriesTracks& series, const pwr::DataElement& element,
                            const Span& span) {
  collectAnnotations(element);
  if (element.getValue()->toString(text_) != 0) return;
  series.states(trace).add(trace, span, text_, annotations_, !isTransition());
}

void MetricTracks::collectAnnotations(const pwr::DataElement& element) {
  annotations_.clear();
  if (element.getAttributes() == nullptr && element.getAdditionalInfo() == nullptr) return;
  forEachAttribute(element, [this](const std::string& name, const pwr::Quantity* /*quantity*/,
                                   const pwr::Data& value) {
    if (!isNothing(value)) annotations_.push_back({name, &value});
  });
}

SeriesTracks& MetricTracks::find(Trace& trace, const pwr::DataElement& element) {
  const pwr::EntityHandle* const entity = element.getEntity();
  const pwr::DataDescriptor* const descriptor = element.getDescriptor();
  if (entity == nullptr && element.getAttributes() != nullptr) {
    const Owner owner = ownerOf(element);
    if (owner.pid || !owner.name.empty()) return findOwned(trace, element, owner);
  }
  return *index_.find(entity, descriptor, [&] {
    const TrackPlace place{entity == nullptr ? 0 : trace.tree.entity(*entity), rankOf(descriptor)};
    series_.push_back(std::make_unique<SeriesTracks>(nameOf(descriptor), place));
    return series_.back().get();
  });
}

/// There may be any number of them in the course of a run: after very many, those so far are over.
SeriesTracks& MetricTracks::findOwned(Trace& trace, const pwr::DataElement& element,
                                      const Owner& owner) {
  const pwr::DataDescriptor* const descriptor = element.getDescriptor();
  OwnerKey key{descriptor, owner.pid, owner.pid ? std::string() : owner.name};
  const auto known = owned_.find(key);
  if (known != owned_.end()) return known->second;
  if (owned_.size() >= kMostOwners) {
    for (auto& [each, series] : owned_) series.close(trace, trace.latest);
    owned_.clear();
  }
  TrackPlace place{.rank = rankOf(descriptor)};
  std::string name = nameOf(descriptor);
  if (owner.pid) {
    place.parent = trace.tree.process(*owner.pid, isEvent() ? "" : owner.name);
  } else {
    place.parent = trace.tree.group(description_->name, rankOf(nullptr));
    name = owner.name + (descriptors_.size() > 1 ? " " + name : "");
  }
  return owned_.try_emplace(std::move(key), std::move(name), place).first->second;
}

MetricTracks::Owner MetricTracks::ownerOf(const pwr::DataElement& element) const {
  Owner owner{.pid = idFrom(EventOwner::of(element).pid)};
  for (const auto& [attribute, value] : *element.getAttributes()) {
    if (value.getType() == pwr::DataType::String && value.toString(owner.name) == 0) break;
  }
  return owner;
}

/// Of a metric whose series differ in their descriptors, with that.
std::string MetricTracks::nameOf(const pwr::DataDescriptor* descriptor) const {
  const bool isOne =
      descriptors_.empty() || (descriptors_.size() == 1 && descriptors_[0] == descriptor);
  if (descriptor == nullptr || isOne) return description_->name;
  return description_->name + ": " + descriptor->getName();
}

std::int32_t MetricTracks::rankOf(const pwr::DataDescriptor* descriptor) const {
  const auto place =
      static_cast<std::size_t>(std::ranges::find(descriptors_, descriptor) - descriptors_.begin());
  const std::size_t metric = std::min(description_->id, kMostMetricRank);
  return static_cast<std::int32_t>(metric * kRanksOfMetric + std::min(place, kRanksOfMetric - 1));
}

void MetricTracks::leaveOut(Trace& trace, const pwr::DataElement& element,
                            const char* cause) const {
  const PWLogLevel level =
      trace.told.levelOf(cause, description_->id, element.getEntity(), element.getDescriptor());
  PW_LOG(kPlainLog, level, "WARNING: A value of %s is left out of the Perfetto trace: it %s.\n",
         description_->name.c_str(), cause);
}

void MetricTracks::close(Trace& trace, unsigned long long end) {
  for (const auto& series : series_) series->close(trace, end);
  for (auto& [key, series] : owned_) series.close(trace, end);
}

}  // namespace pftrace
