#include "tavrin/import/ResultDescriptions.h"

#include <cmath>
#include <limits>

#include "formats/ztjson_format.h"
#include "hostcommon/Descriptions.h"
#include "tavrin/import/QuantityNames.h"
#include "tavrin/import/ResultSystem.h"

namespace tavrin {

namespace {

constexpr double kMicroseconds = 1e6;

pwr::Metric::MetricType typeOf(MetricKind kind) {
  using Type = pwr::Metric::MetricType;
  return kind == MetricKind::Unknown ? Type::SampledValue : static_cast<Type>(kind);
}

/// A number that is not negative, rounded; the largest one where it is too large.
std::uint64_t rounded(double number) {
  constexpr double kLimit = 18446744073709551616.0;
  if (!(number > 0.0)) return 0;
  return number >= kLimit ? std::numeric_limits<std::uint64_t>::max()
                          : static_cast<std::uint64_t>(std::round(number));
}

std::uint64_t sum(std::uint64_t a, std::uint64_t b) {
  return b > std::numeric_limits<std::uint64_t>::max() - a
             ? std::numeric_limits<std::uint64_t>::max()
             : a + b;
}

template <typename Number>
pwr::Data numbers(const Point& point) {
  const auto first = static_cast<Number>(point.bits);
  if (!point.isRange) return pwr::Data(first);
  return pwr::Data(std::pair<Number, Number>(first, static_cast<Number>(point.upperBits)));
}

}  // namespace

std::uint64_t ResultDescriptions::ticksOf(const Point& point) const {
  const Clock clock = reader_.clock();
  if (clock.timeUnit == TimeUnit::Ticks) return point.time;
  return sum(clock.start, rounded(static_cast<double>(point.time) * clockMHz_));
}

std::uint64_t ResultDescriptions::durationOf(const Point& point) const {
  return std::isnan(point.duration) ? 0 : rounded(point.duration * clockMHz_);
}

std::uint64_t ResultDescriptions::endOf(const Point& point) const {
  return sum(ticksOf(point), durationOf(point));
}

/// The first factor of a quantity's rate stands for all metrics that have it.
const pwr::Quantity* ResultDescriptions::quantityOf(const Metric& metric) {
  const std::string name(metric.quantity);
  const std::string units(metric.isRate ? metric.baseUnits : metric.units);
  if (name.empty() && units.empty()) return nullptr;
  const pwr::Quantity* const time = pwr::Quantity::time();
  if (name == time->toQuantityString() && units == time->toUnitsString()) return time;
  const std::string rate = metric.rate ? std::string(metric.rate->units) : std::string();
  const pwr::Quantity*& known = quantities_[{name, units + '\0' + rate}];
  if (known != nullptr) return known;
  pwr::QuantityDescription description{
      .type = quantityTypeOf(metric), .name = name, .units = units};
  if (metric.rate) {
    const pwr::QuantityType type = description.type == pwr::QuantityType::Energy
                                       ? pwr::QuantityType::Power
                                       : pwr::QuantityType::Rate;
    description.rate =
        pwr::createQuantity({.type = type, .name = std::string(metric.rate->name), .units = rate});
    description.rateFactor = metric.rate->factor;
  }
  return known = pwr::createQuantity(std::move(description));
}

const pwr::EntityHandle* ResultDescriptions::child(const pwr::EntityHandle* parent,
                                                   std::string_view name) {
  const pwr::EntityHandle*& known = children_[{parent, std::string(name)}];
  if (known == nullptr) {
    known = pwr::createEntity(
        {.name = std::string(name), .level = std::string(levelOfName(name)), .parent = parent});
  }
  return known;
}

/// Processors are told from their places; any other name with a slash is one name.
const pwr::EntityHandle* ResultDescriptions::entityOfName(std::string_view qualifiedName) {
  if (!isProcessorPath(qualifiedName)) return child(nullptr, qualifiedName);
  const pwr::EntityHandle* handle = nullptr;
  while (!qualifiedName.empty()) {
    const std::size_t slash = std::min(qualifiedName.find('/'), qualifiedName.size());
    handle = child(handle, qualifiedName.substr(0, slash));
    qualifiedName.remove_prefix(std::min(slash + 1, qualifiedName.size()));
  }
  return handle;
}

const pwr::EntityHandle* ResultDescriptions::entity(std::uint32_t place) {
  if (place == kNone) return nullptr;
  if (entities_.size() <= place) entities_.resize(reader_.entities().size());
  if (entities_[place] == nullptr) {
    const Entity& known = reader_.entities()[place];
    const pwr::EntityHandle* handle = reader_.format() == ResultFormat::Timeline
                                          ? pwr::createEntity({.name = std::string(known.name),
                                                               .level = std::string(known.level),
                                                               .parent = entity(known.parent)})
                                          : entityOfName(known.qualifiedName);
    entities_[place] = handle;
  }
  return entities_[place];
}

const pwr::DataDescriptor* ResultDescriptions::descriptor(const std::string& name,
                                                          std::string_view text,
                                                          std::string_view description) {
  const pwr::DataDescriptor*& known = descriptors_[{name, std::string(text)}];
  if (known == nullptr) {
    pwr::DataDescriptorBuilder builder(name, std::string(description));
    if (!text.empty()) {
      builder.addAttributeValue(attribute("Attribute", pwr::AttributeType::String),
                                pwr::Data(std::string(text)));
    }
    known = pwr::DataDescriptor::create(builder);
  }
  return known;
}

/// Of one or two values the trace of a whole run has lost the names, and so it has where states are
/// the names.
const pwr::DataDescriptor* ResultDescriptions::descriptorOf(const Series& series) {
  const Metric& metric = reader_.metrics()[series.metric];
  const std::string name(series.descriptor);
  if (reader_.format() == ResultFormat::JsonTrace) {
    const bool isFirst = name == ztjson::trace::kValue || hasStateTexts(metric);
    if (isFirst) return descriptor(std::string(metric.name), {}, {});
    if (name == ztjson::trace::kSecondValue)
      return descriptor(std::string(metric.name) + " 2", {}, {});
  }
  if (reader_.format() == ResultFormat::Timeline && name.empty()) return nullptr;
  return descriptor(name, series.attributeText, series.description);
}

/// In the trace of a whole run, a state that was a text is the name of the time spent in it.
bool ResultDescriptions::hasStateTexts(const Metric& metric) const {
  return reader_.format() == ResultFormat::JsonTrace && !metric.states.empty() &&
         (metric.kind == MetricKind::TracedTransition || metric.kind == MetricKind::TracedEvent);
}

/// Elsewhere the states of a metric are its descriptors.
bool ResultDescriptions::hasFiniteSet(const Metric& metric) const {
  switch (reader_.format()) {
    case ResultFormat::JsonTrace:
      return hasStateTexts(metric);
    case ResultFormat::Timeline:
      return metric.kind != MetricKind::SampledResidency;
    case ResultFormat::BinaryStream:
    case ResultFormat::NumberedJson:
      break;
  }
  return true;
}

std::unique_ptr<pwr::Metric> ResultDescriptions::createMetric(const Metric& metric) {
  const auto container =
      containers_.try_emplace(std::string(metric.feature), containers_.size() + 1).first->second;
  pwr::MetricDescription description{.containerId = container,
                                     .name = std::string(metric.name),
                                     .featureTag = std::string(metric.feature),
                                     .type = typeOf(metric.kind),
                                     .quantity = quantityOf(metric)};
  for (const MetricCombination& combination : metric.combinations) {
    if (hasStateTexts(metric)) break;
    description.combinations.push_back(
        {entity(combination.entity),
         combination.hasDescriptor ? descriptor(std::string(combination.descriptor),
                                                combination.attributeText, combination.description)
                                   : nullptr});
  }
  if (hasFiniteSet(metric)) {
    for (const std::string_view state : metric.states) {
      description.finiteSet.emplace_back(std::string(state));
    }
  }
  return std::make_unique<pwr::Metric>(pwr::createMetric(std::move(description)));
}

pwr::Metric& ResultDescriptions::metric(std::uint32_t place) {
  if (metrics_.size() <= place) metrics_.resize(reader_.metrics().size());
  if (!metrics_[place]) metrics_[place] = createMetric(reader_.metrics()[place]);
  return *metrics_[place];
}

/// Counters are whole numbers, which the continuous formats have as reals.
pwr::Data ResultDescriptions::countOf(double value, const Metric& metric) const {
  constexpr double kExact = 9007199254740992.0;
  const bool isCounter =
      metric.kind == MetricKind::SampledDelta || metric.kind == MetricKind::SampledResidency;
  if (isCounter && value >= 0.0 && value <= kExact && std::trunc(value) == value) {
    return pwr::Data(static_cast<unsigned long long>(value));
  }
  return pwr::Data(value);
}

pwr::Data ResultDescriptions::valueOf(const Point& point, const Series& series) const {
  const Metric& metric = reader_.metrics()[series.metric];
  switch (point.type) {
    case ValueType::Text:
      return point.text == kNone ? pwr::Data()
                                 : pwr::Data(std::string(reader_.texts()[point.text]));
    case ValueType::Signed:
      return numbers<long long>(point);
    case ValueType::Unsigned:
      return numbers<unsigned long long>(point);
    case ValueType::Real:
      break;
  }
  if (point.isRange) return pwr::Data(std::pair<double, double>(point.value, point.upper));
  if (hasStateTexts(metric)) return pwr::Data(std::string(series.descriptor));
  if (!metric.isRate) {
    return reader_.format() == ResultFormat::Timeline ? pwr::Data(point.value)
                                                      : countOf(point.value, metric);
  }
  // The trace has the rate; the count that it was made of comes out but for the last digits.
  const double factor = metric.rate ? metric.rate->factor : 1.0;
  const double count = point.value * point.duration / kMicroseconds / factor;
  return countOf(std::abs(count - std::round(count)) < 1e-9 * count ? std::round(count) : count,
                 metric);
}

const pwr::Attribute* ResultDescriptions::attribute(const std::string& name,
                                                    pwr::AttributeType type) {
  const pwr::Attribute*& known = attributes_[name];
  if (known == nullptr) known = pwr::Attribute::create(name, nullptr, type);
  return known;
}

/// To which process and thread a point belongs, and what else is told of it.
void ResultDescriptions::addInfo(const Point& point, pwr::DataElement& element) {
  if (point.process == kNone && point.thread == kNone && point.annotations.empty()) return;
  auto info = std::make_shared<pwr::DynamicAttributeValueManager>();
  const auto add = [&](std::string_view name, pwr::AttributeType type, const pwr::Data& value) {
    info->addAttributeValue(attribute(std::string(name), type)->getId(), value);
  };
  const auto number = [](const Task& task) { return pwr::Data(std::uint64_t{task.number}); };
  if (point.process != kNone) {
    add(pwr::kPidAttribute, pwr::AttributeType::UInt, number(reader_.processes()[point.process]));
  }
  if (point.thread != kNone) {
    add(pwr::kTidAttribute, pwr::AttributeType::UInt, number(reader_.threads()[point.thread]));
  }
  for (const std::uint32_t text : point.annotations) {
    const std::string_view whole = reader_.texts()[text];
    const std::size_t colon = whole.find(": ");
    if (colon == std::string_view::npos) continue;
    add(whole.substr(0, colon), pwr::AttributeType::String,
        pwr::Data(std::string(whole.substr(colon + 2))));
  }
  element.setAdditionalInfo(std::move(info));
}

pwr::DataElement ResultDescriptions::element(const Point& point) {
  const Series& series = reader_.series()[point.series];
  if (seriesDescriptors_.size() <= point.series) {
    for (std::size_t i = seriesDescriptors_.size(); i < reader_.series().size(); ++i) {
      seriesDescriptors_.push_back(descriptorOf(reader_.series()[i]));
    }
  }
  pwr::DataElement element(valueOf(point, series), seriesDescriptors_[point.series],
                           entity(series.entity), durationOf(point));
  addInfo(point, element);
  return element;
}

}  // namespace tavrin
