#include "exporters/perfetto/MetricTracks.h"

#include <algorithm>
#include <cmath>

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

std::optional<CounterUnit> unitOfTime(Type type, const ValueScale& scale) {
  if (type == Type::SampledResidency) return CounterUnit{.name = "%"};
  if (!scale.isRate) return std::nullopt;
  return CounterUnit{.name = shownText(scale.unit)};
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

MetricTracks::MetricTracks(const pwr::Metric& metric, const TraceClock& clock)
    : description_(metric.getDescription()),
      type_(metric.getMetricType()),
      meaning_(meaningOf(*description_, 1.0 / clock.seconds(1))),
      unit_(CounterUnit::of(metric.getQuantity())),
      unitOfTime_(unitOfTime(type_, meaning_.scale)),
      descriptors_(descriptorsOf(*description_)) {}

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
  const Item item{element, *inRun, span.length, ownerOf(element)};
  SeriesTracks& series = find(trace, item);
  if (!series.isInOrder(inRun->time)) return leaveOut(trace, element, "is before the last one");
  if (isEvent() && !isReading(item)) {
    addEvent(trace, series, item);
  } else if (element.getValue()->isNumeric()) {
    addNumber(trace, series, item);
  } else {
    addState(trace, series, item);
  }
}

/// Whether the event tells what a process, or all others, used in an interval. It comes as an
/// event, as the processes are not known before.
bool MetricTracks::isReading(const Item& item) const {
  return meaning_.isPerProcess && item.owner && !item.owner->isThread && item.length != 0 &&
         item.element.getValue()->isNumeric();
}

/// A number is no name: there would be as many names as numbers.
void MetricTracks::addEvent(Trace& trace, SeriesTracks& series, const Item& item) {
  const pwr::Data& value = *item.element.getValue();
  collectAnnotations(item.element);
  if (item.length != 0) {
    lengthOfEvent_ = pwr::Data(trace.clock.nanoseconds(item.length));
    annotations_.push_back({"Duration (ns)", &lengthOfEvent_});
  }
  const std::uint64_t time = trace.clock.nanoseconds(item.span.time);
  if (value.isNumeric()) {
    annotations_.push_back({"Value", &value});
    series.events(trace).instant(trace.file, time, description_->name, annotations_);
  } else {
    value.toString(text_);
    series.events(trace).instant(trace.file, time, text_, annotations_);
  }
}

void MetricTracks::addNumber(Trace& trace, SeriesTracks& series, const Item& item) {
  Amount amount;
  if (!toAmount(*item.element.getValue(), amount) || !scale(trace, item, amount)) {
    return leaveOut(trace, item.element, "is not finite");
  }
  const bool isScaled = unitOfTime_ && item.length != 0;
  CounterTrack& counter =
      series.counter(trace, isScaled ? SeriesTracks::Scale::OfTime : SeriesTracks::Scale::Plain,
                     isScaled ? *unitOfTime_ : unit_);
  const bool isBehindGap = isGap(counter, item.span.time);
  // A process that is not among the busiest is not missed.
  if (isBehindGap && !item.owner) addGap(trace, counter.end(), item.span.time);
  counter.add(trace, item.span, amount, isBehindGap);
}

/// Makes shares, rates and nanoseconds of what is one. False when it is not finite then.
bool MetricTracks::scale(Trace& trace, const Item& item, Amount& amount) const {
  const bool isShare = type_ == Type::SampledResidency;
  if (unitOfTime_ && item.length != 0) {
    const double whole =
        isShare ? static_cast<double>(item.length) : trace.clock.seconds(item.length);
    amount = {.real = realOf(amount) * (isShare ? 100.0 : meaning_.scale.factor) / whole};
  } else if (pwr::isTime(description_->quantity)) {
    amount = {.real = realOf(amount) * 1e9 * trace.clock.seconds(1)};
  }
  return std::isfinite(realOf(amount));
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

void MetricTracks::addState(Trace& trace, SeriesTracks& series, const Item& item) {
  collectAnnotations(item.element);
  item.element.getValue()->toString(text_);
  series.states(trace).add(trace, item.span, text_, annotations_, !isTransition());
}

void MetricTracks::collectAnnotations(const pwr::DataElement& element) {
  annotations_.clear();
  if (element.getAttributes() == nullptr && element.getAdditionalInfo() == nullptr) return;
  forEachAttribute(element, [this](const std::string& name, const pwr::Quantity* /*quantity*/,
                                   const pwr::Data& value) {
    if (!isNothing(value)) annotations_.push_back({name, &value});
  });
}

SeriesTracks& MetricTracks::find(Trace& trace, const Item& item) {
  const pwr::EntityHandle* const entity = item.element.getEntity();
  const pwr::DataDescriptor* const descriptor = item.element.getDescriptor();
  // The descriptor of an event of a process may be its rank among others.
  if (item.owner) return findOwned(trace, isEvent() ? nullptr : descriptor, *item.owner);
  return *index_.find(entity, descriptor, [&] {
    series_.push_back(
        std::make_unique<SeriesTracks>(nameOf(descriptor), placeOf(trace, entity, descriptor)));
    return series_.back().get();
  });
}

/// At the top stands what a metric has one of.
TrackPlace MetricTracks::placeOf(Trace& trace, const pwr::EntityHandle* entity,
                                 const pwr::DataDescriptor* descriptor) const {
  TrackPlace place{.rank = rankOf(descriptor)};
  if (entity != nullptr) {
    place.parent = trace.tree.entity(*entity);
  } else if (descriptors_.size() > 1) {
    place.parent = trace.tree.group(description_->name, rankOf(nullptr));
  }
  return place;
}

/// There may be any number of them in the course of a run: after very many, those so far are over.
SeriesTracks& MetricTracks::findOwned(Trace& trace, const pwr::DataDescriptor* descriptor,
                                      const Owner& owner) {
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
    place.parent = trace.tree.process(*owner.pid, owner.name);
  } else {
    place.parent = trace.tree.group(description_->name, rankOf(nullptr));
    name = owner.name + (descriptor != nullptr && descriptors_.size() > 1 ? " " + name : "");
  }
  return owned_.try_emplace(std::move(key), std::move(name), place).first->second;
}

/// Nothing for what has an entity. An event that tells no process is of none, whatever it names.
std::optional<MetricTracks::Owner> MetricTracks::ownerOf(const pwr::DataElement& element) const {
  if (element.getEntity() != nullptr || element.getAttributes() == nullptr) return std::nullopt;
  const EventOwner numbers = EventOwner::of(element);
  Owner owner{.pid = taskId(numbers.pid)};
  owner.isThread = numbers.tid && numbers.tid != numbers.pid;
  const bool isNamed = !isEvent() || element.getValue()->isNumeric();
  for (const auto& [attribute, value] : *element.getAttributes()) {
    if (!isNamed) break;
    if (value.getType() == pwr::DataType::String && value.toString(owner.name) == 0) break;
  }
  return owner.isKnown() ? std::optional(std::move(owner)) : std::nullopt;
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
