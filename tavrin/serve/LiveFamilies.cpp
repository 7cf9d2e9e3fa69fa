#include "tavrin/serve/LiveFamilies.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "hostcommon/Utf8Text.h"
#include "writers/host/Process.h"
#include "writers/host/Quantity.h"

namespace tavrin {

namespace {

using Type = pwr::Metric::MetricType;
using Label = prometheus::ClientMetric::Label;

/// A value is gone when so many of its intervals have passed without another one.
constexpr unsigned long long kFreshIntervals = 3;
/// What is read rarely is read once a second.
constexpr double kLeastInterval = 1.0;
/// So long is a process remembered that is no more among the busiest.
constexpr double kProcessSeconds = 600.0;
constexpr unsigned long long kForever = std::numeric_limits<unsigned long long>::max();

constexpr const char* kStateLabel = "state";
constexpr const char* kProcessLabel = "process";
constexpr const char* kOthers = "others";
/// The state of what is gone.
constexpr const char* kUnknown = "unknown";

/// Text as a label can have it, and on one line.
std::string labelText(const std::string& text) {
  std::string shown = pwr::validUtf8(text);
  const auto isControl = [](char letter) {
    return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F;
  };
  std::ranges::replace_if(shown, isControl, ' ');
  return shown;
}

/// A label without a value is none.
void addLabel(std::vector<Label>& labels, std::string name, const std::string& value) {
  if (value.empty()) return;
  while (std::ranges::count(labels, name, &Label::name) > 0) name += "_";
  labels.push_back({std::move(name), labelText(value)});
}

/// Which entity it is. What this system calls a hardware thread is a CPU to everybody else.
std::vector<Label> labelsOf(const pwr::EntityHandle* entity) {
  std::vector<Label> labels;
  for (const pwr::SeriesTag& tag : pwr::tagsOf(entity)) {
    addLabel(labels, tag.key == "thread" ? "cpu" : tag.key, tag.value);
  }
  return labels;
}

/// The label of a descriptor says what descriptors of the metric are: "source", "counter". States
/// of any kind are states.
std::string descriptorLabel(const pwr::MetricDescription& metric) {
  const std::string name = pwr::plainName(metric.descriptorGroup->getName());
  return name.ends_with("_state") ? kStateLabel : name;
}

/// Where descriptors are no group, there is one, which says no more than the metric's name.
std::vector<Label> labelsOf(const pwr::MetricDescription& metric, const pwr::DataElement& element) {
  std::vector<Label> labels = labelsOf(element.getEntity());
  const pwr::DataDescriptor* const descriptor = element.getDescriptor();
  if (descriptor == nullptr || metric.descriptorGroup == nullptr) return labels;
  addLabel(labels, descriptorLabel(metric), descriptor->getName());
  return labels;
}

bool namesStates(const pwr::MetricDescription& metric) {
  return metric.quantity != nullptr && metric.quantity->toQuantity() == pwr::QuantityType::State;
}

bool toFinite(const pwr::Data& value, double& number) {
  return value.toReal(number) == 0 && std::isfinite(number);
}

std::string textOf(const pwr::Data& value) {
  std::string text;
  value.toString(text);
  return text;
}

/// The process that a sample of what processes used belongs to; empty for anything else.
std::string processOf(const pwr::DataElement& element) {
  if (element.getAttributes() == nullptr || !element.getValue()->isNumeric()) return {};
  for (const auto& [attribute, value] : *element.getAttributes()) {
    if (attribute->getName() == pwr::kProcessAttribute) return textOf(value);
  }
  return {};
}

/// The text of a HELP line.
std::string helpOf(const pwr::MetricDescription& metric) {
  std::string help;
  for (const char letter : labelText(metric.name + ", feature " + metric.featureTag)) {
    help += letter == '\\' ? "\\\\" : std::string(1, letter);
  }
  return help;
}

}  // namespace

void GrowingSum::add(double growth) {
  if (!(growth > 0.0) || std::isinf(growth)) return;
  growth += rest_;
  const double sum = sum_ + growth;
  const double added = sum - sum_;
  rest_ = (sum_ - (sum - added)) + (growth - added);
  sum_ = sum;
}

LiveFamilies::LiveFamilies(double ticksPerSecond, Limits limits, std::set<std::string> taken)
    : ticksPerSecond_(ticksPerSecond), limits_(limits), taken_(std::move(taken)) {}

void LiveFamilies::add(const pwr::Metric& metric, unsigned long long now) {
  const pwr::MetricDescription& description = *metric.getDescription();
  for (const pwr::DataElement& element : metric.getData().elements) {
    const Arrival arrival{description, element, now};
    switch (description.type) {
      case Type::SampledDelta:
      case Type::SampledResidency:
      case Type::SampledValue:
        addSampled(arrival);
        break;
      case Type::TracedValueTransition:
        addTransition(arrival);
        break;
      case Type::TracedEvent:
        addEvent(arrival);
        break;
    }
  }
}

/// For how long a sampled value stands: longer than from one turn to the next, where things are
/// read by turns.
unsigned long long LiveFamilies::freshness(const Arrival& arrival) const {
  const auto least = static_cast<unsigned long long>(kLeastInterval * ticksPerSecond_);
  return kFreshIntervals * std::max(least, arrival.element.getDuration());
}

void LiveFamilies::addSampled(const Arrival& arrival) {
  const auto& [metric, element, now] = arrival;
  double number = 0.0;
  if (metric.type == Type::SampledValue && namesStates(metric)) return addState(arrival);
  if (!toFinite(*element.getValue(), number)) return;
  const bool isGauge = metric.type == Type::SampledValue || pwr::isRate(metric.quantity);
  Family& family = familyOf(metric, isGauge ? Role::Value : Role::Sum);
  Labels labels = labelsOf(metric, element);
  if (!isGauge) return count(family, std::move(labels), number, now, freshness(arrival));
  if (Series* const series = seriesOf(family, std::move(labels))) {
    series->value = number;
    series->seen = now;
    series->keeps = freshness(arrival);
  }
}

/// States that were sampled are told when they begin, those that were traced when they end.
void LiveFamilies::addTransition(const Arrival& arrival) {
  const auto& [metric, element, now] = arrival;
  if (element.getDuration() == 0) return addState(arrival);
  Labels labels = labelsOf(element.getEntity());
  // Others than a few would be a series each.
  const bool hasStates = !metric.finiteSet.empty();
  if (hasStates) addLabel(labels, kStateLabel, textOf(*element.getValue()));
  count(familyOf(metric, Role::Changes), labels, 1.0, now, kForever);
  if (!hasStates) return;
  const auto spent = static_cast<double>(element.getDuration());
  count(familyOf(metric, Role::StateTime), std::move(labels), spent, now, kForever);
}

void LiveFamilies::addEvent(const Arrival& arrival) {
  const auto& [metric, element, now] = arrival;
  const std::string process = processOf(element);
  if (!process.empty()) return addOfProcess(arrival, process);
  count(familyOf(metric, Role::Events), labelsOf(element.getEntity()), 1.0, now, kForever);
}

/// Processes are told apart by their names only: numbers would make new series for ever.
void LiveFamilies::addOfProcess(const Arrival& arrival, const std::string& process) {
  const auto& [metric, element, now] = arrival;
  double used = 0.0;
  if (!toFinite(*element.getValue(), used)) return;
  Family& family = familyOf(metric, Role::Sum);
  const Labels whose = labelsOf(element.getEntity());
  Labels labels = whose;
  addLabel(labels, kProcessLabel, process);
  unsigned long long keeps = static_cast<unsigned long long>(kProcessSeconds * ticksPerSecond_);
  const bool isFull = family.series.size() >= limits_.processes && !family.series.contains(labels);
  if (isFull || process == kOthers) {
    labels = whose;
    addLabel(labels, kProcessLabel, kOthers);
    keeps = kForever;
  }
  count(family, std::move(labels), used, now, keeps);
}

/// A state stands until the next one is told.
void LiveFamilies::addState(const Arrival& arrival) {
  Family& family = familyOf(arrival.metric, Role::State);
  Labels labels = labelsOf(arrival.element.getEntity());
  std::string state = textOf(*arrival.element.getValue());
  if (state == kUnknown) {
    seriesCount_ -= family.series.erase(labels);
  } else if (Series* const series = seriesOf(family, std::move(labels))) {
    const bool isSampled = arrival.metric.type == Type::SampledValue;
    series->value = 1.0;
    series->state = std::move(state);
    series->seen = arrival.now;
    series->keeps = isSampled ? freshness(arrival) : kForever;
  }
}

void LiveFamilies::count(Family& family, Labels labels, double growth, unsigned long long now,
                         unsigned long long keeps) {
  Series* const series = seriesOf(family, std::move(labels));
  if (series == nullptr) return;
  series->sum.add(growth);
  series->seen = now;
  series->keeps = keeps;
}

/// Null where there is no room for a new one.
LiveFamilies::Series* LiveFamilies::seriesOf(Family& family, Labels labels) {
  const auto place = family.series.find(labels);
  if (place != family.series.end()) return &place->second;
  if (seriesCount_ >= limits_.series) {
    ++leftOut_;
    return nullptr;
  }
  ++seriesCount_;
  return &family.series[std::move(labels)];
}

LiveFamilies::Family& LiveFamilies::familyOf(const pwr::MetricDescription& metric, Role role) {
  const auto [place, isNew] = families_.try_emplace({metric.id, role});
  Family& family = place->second;
  if (!isNew) return family;
  if (role == Role::Sum || role == Role::Value) {
    family.unit = pwr::baseUnitOf(metric.quantity, ticksPerSecond_);
  } else if (role == Role::StateTime) {
    family.unit = pwr::baseUnitOf(pwr::Quantity::time(), ticksPerSecond_);
  }
  family.role = role;
  family.name = nameOf(metric, role, family.unit);
  family.help = helpOf(metric);
  return family;
}

/// Metrics of one name are told apart by numbers.
std::string LiveFamilies::nameOf(const pwr::MetricDescription& metric, Role role,
                                 const pwr::BaseUnit& unit) {
  const bool isGauge = role == Role::Value || role == Role::State;
  const std::string end = isGauge ? "" : role == Role::Changes ? "_changes_total" : "_total";
  const std::string begin = "tavrin_" + pwr::measurementName(metric.name, unit);
  std::string name = begin + end;
  for (int number = 2; !taken_.insert(name).second; ++number) {
    name = begin + "_" + std::to_string(number);
    name += end;
  }
  return name;
}

void LiveFamilies::endPass(unsigned long long now) {
  for (auto& [key, family] : families_) {
    seriesCount_ -= std::erase_if(family.series, [now](const auto& entry) {
      const Series& series = entry.second;
      return now > series.seen && now - series.seen > series.keeps;
    });
  }
}

prometheus::MetricFamily LiveFamilies::collect(const Family& family) {
  const bool isCounter = family.role != Role::Value && family.role != Role::State;
  prometheus::MetricFamily told{
      family.name,
      family.help,
      isCounter ? prometheus::MetricType::Counter : prometheus::MetricType::Gauge,
      {}};
  told.metric.reserve(family.series.size());
  for (const auto& [labels, series] : family.series) {
    prometheus::ClientMetric& metric = told.metric.emplace_back();
    metric.label = labels;
    if (family.role == Role::State) addLabel(metric.label, kStateLabel, series.state);
    const double value = family.unit.of(isCounter ? series.sum.value() : series.value);
    (isCounter ? metric.counter.value : metric.gauge.value) = value;
  }
  return told;
}

std::vector<prometheus::MetricFamily> LiveFamilies::collect() const {
  std::vector<prometheus::MetricFamily> families;
  for (const auto& [key, family] : families_) {
    if (!family.series.empty()) families.push_back(collect(family));
  }
  return families;
}

}  // namespace tavrin
