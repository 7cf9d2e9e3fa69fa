#include "writers/timeline/SampleConverter.h"

#include "writers/common/EventAttributes.h"
#include "writers/timeline/OwnedRecord.h"

using pwrfile::AttributeType;
using pwrfile::kNone;
using pwrfile::MetricClass;

namespace {

/// For messages: unique, since names may not be.
std::string seriesKey(const pwr::Metric& metric, const pwr::DataElement& element) {
  std::string key = metric.getName();
  std::string ids = std::to_string(metric.getId());
  if (const auto* const descriptor = element.getDescriptor(); descriptor != nullptr) {
    key += ":" + descriptor->getName();
    ids += " field " + std::to_string(descriptor->getId());
  }
  if (const auto* const entity = element.getEntity(); entity != nullptr) {
    key += ":" + entity->getQualifiedName();
    ids += " entity " + std::to_string(entity->getId());
  }
  return key + " (metric " + ids + ")";
}

int addId(AttributeType type, std::uint64_t id, AttributeList& list) {
  return id == kNone ? 0 : DataRecords::addAttribute(type, id, &list);
}

bool hasValueStates(MetricClass metricClass) {
  return metricClass == MetricClass::FiniteSetValue || metricClass == MetricClass::TracedFiniteSet;
}

bool isText(const pwr::Data& value) {
  return value.getType() == pwr::DataType::String || value.getType() == pwr::DataType::Handle;
}

/// Texts are states. Numbers are when the metric says which there are, when they are frequencies,
/// and when they are whole and measure nothing.
bool isState(const pwr::Metric& metric, const pwr::Data& value) {
  if (isText(value) || !metric.getFiniteSetValues().empty()) return true;
  if (!value.isNumeric()) return false;
  const pwr::Quantity* const quantity = metric.getQuantity();
  if (quantity == nullptr) return value.getType() != pwr::DataType::Real;
  return quantity->toQuantity() == pwr::QuantityType::Frequency ||
         quantity->toQuantity() == pwr::QuantityType::State;
}

}  // namespace

SampleConverter::SampleConverter(TimelineOutput& output, InfoRecords& infos, bool legacy)
    : output_(output),
      quantities_(infos),
      descriptions_(infos),
      metrics_(infos, quantities_, descriptions_),
      processes_(infos),
      records_(output, infos, quantities_, legacy) {}

int SampleConverter::convert(const pwr::Metric& metric) {
  KnownMetric& known = known_i(metric);
  if (known.announced.id == kNone) return 1;
  for (const pwr::DataElement& element : metric.getData().elements) {
    if (convertElement_i(metric, known, element) != 0) return 1;
  }
  return 0;
}

SampleConverter::KnownMetric& SampleConverter::known_i(const pwr::Metric& metric) {
  const auto found = known_.find(metric.getId());
  if (found != known_.end()) return found->second;
  return known_
      .try_emplace(metric.getId(),
                   KnownMetric{metric.getDescription(), metrics_.announce(metric),
                               metricClassOf(metric), !pwr::isRate(metric.getQuantity())})
      .first->second;
}

/// Null when something that the samples refer to cannot be described.
SampleSeries* SampleConverter::makeSeries_i(const pwr::Metric& metric, KnownMetric& known,
                                            const pwr::DataElement& element) {
  std::uint64_t entityId = kNone;
  SampleField field;
  if (const auto* const entity = element.getEntity(); entity != nullptr) {
    entityId = descriptions_.entityId(*entity);
    if (entityId == kNone) return nullptr;
  }
  if (const auto* const descriptor = element.getDescriptor(); descriptor != nullptr) {
    field = field_i(known, *descriptor);
    if (field.id == kNone) return nullptr;
  }
  SampleTimes times(seriesKey(metric, element), collectionStart_);
  return &known.series.emplace_back(SampleSeries{std::move(times), entityId, field});
}

SampleField SampleConverter::field_i(const KnownMetric& known,
                                     const pwr::DataDescriptor& descriptor) {
  SampleField field;
  // The fields of these are states: how long, or how often, each of them was taken.
  if (known.metricClass == MetricClass::FiniteSetCounter) {
    field.colorId = descriptions_.colorId(descriptor.getName());
    if (field.colorId == kNone) return field;
  }
  field.id = descriptions_.fieldId(descriptor);
  return field;
}

int SampleConverter::convertElement_i(const pwr::Metric& metric, KnownMetric& known,
                                      const pwr::DataElement& element) {
  if (element.getValue()->getType() == pwr::DataType::None) return 0;
  SampleSeries* const series = known.table.find(element.getEntity(), element.getDescriptor(), [&] {
    return makeSeries_i(metric, known, element);
  });
  if (series == nullptr) return 1;
  const std::uint64_t tsc = metric.getData().timestamp;
  if (series->times.check(tsc) != 0) return 0;

  AttributeList list;
  if (addAttributes_i(metric, known, *series, element, list) != 0) return 1;
  if (known.metricClass == MetricClass::TracedFiniteSet) {
    if (element.getDuration() == 0) return changeState_i(metric.getId(), *series, tsc, list);
    if (endState_i(metric.getId(), *series, tsc) != 0) return 1;
  }
  if (known.hasTicks && element.getDuration() != 0 &&
      DataRecords::addAttribute(AttributeType::Duration, element.getDuration(), &list) != 0) {
    return 1;
  }
  return records_.writeZt2Record(tsc, metric.getId(), &list);
}

int SampleConverter::addAttributes_i(const pwr::Metric& metric, KnownMetric& known,
                                     const SampleSeries& series, const pwr::DataElement& element,
                                     AttributeList& list) {
  SampleField field = series.field;
  if (const auto* const shown = element.getKorvellDescriptor(); shown != nullptr) {
    field = field_i(known, *shown);
    if (field.id == kNone) return 1;
  }
  if (addId(AttributeType::Metric, known.announced.id, list) != 0 ||
      addId(AttributeType::Entity, series.entityId, list) != 0 ||
      addId(AttributeType::Field, field.id, list) != 0) {
    return 1;
  }
  const bool hasMore = element.getAttributes() != nullptr || element.getAdditionalInfo() != nullptr;
  if (hasMore && addOwner_i(element, known, list) != 0) return 1;
  if (addValue_i(metric, *element.getValue(), list) != 0) return 1;
  const int colored = hasValueStates(known.metricClass)
                          ? addStateColor_i(metric, *element.getValue(), list)
                          : addId(AttributeType::Color, field.colorId, list);
  if (colored != 0) return 1;
  return hasMore ? addInfos_i(element, list) : 0;
}

/// By their numbers, until the file is put together.
int SampleConverter::addOwner_i(const pwr::DataElement& element, KnownMetric& known,
                                AttributeList& list) {
  const EventOwner owner = EventOwner::of(element);
  known.hasOwners = known.hasOwners || owner.pid || owner.tid;
  const auto add = [&](AttributeType type, std::optional<long long> number) {
    return number ? DataRecords::addAttribute(type, static_cast<std::uint64_t>(*number), &list) : 0;
  };
  return add(AttributeType::Process, owner.pid) != 0 || add(AttributeType::Thread, owner.tid) != 0
             ? 1
             : 0;
}

int SampleConverter::addValue_i(const pwr::Metric& metric, const pwr::Data& value,
                                AttributeList& list) {
  if (!isText(value)) {
    return records_.addDataValue(&value, metric.getQuantity(), &list, false, nullptr);
  }
  // A handle is known by its name. Of a text, an info record takes so much and no more.
  value.toString(text_);
  const pwr::Data text{std::string(cutToFit(text_, InfoRecords::kMaxText))};
  return records_.addDataValue(&text, metric.getQuantity(), &list, false, nullptr);
}

int SampleConverter::addStateColor_i(const pwr::Metric& metric, const pwr::Data& value,
                                     AttributeList& list) {
  if (!isState(metric, value)) return 0;
  const std::uint64_t color = descriptions_.colorId(value, metric.getQuantity());
  return color == kNone ? 1 : addId(AttributeType::Color, color, list);
}

int SampleConverter::addInfos_i(const pwr::DataElement& element, AttributeList& list) {
  int status = 0;
  forEachAttribute(
      element, [&](const std::string& name, const pwr::Quantity* quantity, const pwr::Data& value) {
        const bool isNone = value.getType() == pwr::DataType::None;
        if (status != 0 || isNone || EventOwner::numberIn(name, value)) return;
        std::string text;
        if (value.getType() == pwr::DataType::Handle) {
          value.toString(text);
        } else {
          status = records_.addDataValue(&value, quantity, nullptr, true, &text);
        }
        if (status != 0) return;
        text.insert(0, name + ": ");
        text.resize(cutToFit(text, InfoRecords::kMaxText).size());
        status = records_.addStringValue(text, &list);
      });
  return status;
}

/// The state before the new one is over; the new one waits for its own end. There must be a place
/// for its duration: when that is found missing at the end of the run, it costs the whole file.
int SampleConverter::changeState_i(std::uint32_t metricId, SampleSeries& series, std::uint64_t tsc,
                                   AttributeList& list) {
  if (list.count == AttributeList::kCapacity) {
    return DataRecords::addAttribute(AttributeType::Duration, 0, &list);  // refused, which it logs
  }
  const int status = endState_i(metricId, series, tsc);
  series.held.hold(tsc, list);
  return status;
}

/// Writes the state that lasts until `end`, if there is one. One that begins later has no duration
/// that is known.
int SampleConverter::endState_i(std::uint32_t metricId, SampleSeries& series, std::uint64_t end) {
  if (!series.held.isHeld()) return 0;
  const std::uint64_t begin = series.held.tsc();
  AttributeList list;
  series.held.release(list);
  if (begin <= end && DataRecords::addAttribute(AttributeType::Duration, end - begin, &list) != 0) {
    return 1;
  }
  return records_.writeZt2Record(begin, metricId, &list);
}

int SampleConverter::finish(const pwr::SystemMetadata& metadata) {
  processes_.setLifetimes(metadata);
  for (auto& [id, known] : known_) {
    if (!output_.isSupported(id) || known.announced.id == kNone) continue;
    for (SampleSeries& series : known.series) {
      if (endState_i(id, series, metadata.getCollectionStopTimestamp()) != 0) return 1;
    }
    if (metrics_.write(pwr::Metric(known.description), known.announced) != 0) return 1;
    if (known.hasOwners) findOwners_i(id);
  }
  return processes_.write();
}

/// The owners have to be known before they can be described, and described before the records that
/// refer to them.
void SampleConverter::findOwners_i(std::uint32_t metricId) {
  output_.visitData(metricId, [this](std::byte* record) {
    const OwnedRecord event(record);
    processes_.addOwner(event.owner(), event.tsc());
  });
  output_.setEdit(metricId, [this](std::byte* record) {
    OwnedRecord event(record);
    event.setIds(processes_.idsOf(event.owner(), event.tsc()));
  });
}
