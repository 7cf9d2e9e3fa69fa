#include <array>
#include <charconv>
#include <limits>
#include <map>

#include "readers/PwrReader.h"
#include "readers/PwrText.h"
#include "readers/ResultSource.h"

namespace tavrin {

namespace {

using pwrfile::Attribute;
using pwrfile::AttributeType;
using pwrfile::Info;
using pwrfile::InfoType;

MetricKind kindOfClass(std::uint32_t value, bool isTime) {
  using pwrfile::MetricClass;
  switch (static_cast<MetricClass>(value)) {
    case MetricClass::FiniteSetCounter:
      return isTime ? MetricKind::SampledResidency : MetricKind::SampledDelta;
    case MetricClass::Value:
    case MetricClass::FiniteSetValue:
      return MetricKind::SampledValue;
    case MetricClass::TracedFiniteSet:
      return MetricKind::TracedTransition;
    case MetricClass::Counter:
      return MetricKind::SampledDelta;
    case MetricClass::TracedEvent:
      return MetricKind::TracedEvent;
  }
  return MetricKind::Unknown;
}

/// A timeline file. Descriptions are those of its info records, which all precede the points.
class TimelineSource final : public ResultSource {
 public:
  void open(std::istream& file) override;
  bool next(Point& point) override;
  Clock clock() const override;
  std::vector<Fact> system() const override;
  std::vector<Fact> remarks() const override;

 private:
  void add(const Info& info);
  void addMetric(const Info& info);
  void addQuantity(const Info& quantity, Metric& metric) const;
  void completeMetrics();
  void addTask(const Info& info);
  void read(const Attribute& attribute, Point& point);
  void readNumber(const Attribute& attribute, Point& point) const;
  void readText(const Attribute& attribute, Point& point);
  std::uint32_t seriesOf(const Info& metric, const Info* entity, const Info* field);
  std::uint32_t placeOf(std::uint64_t id) const {
    return places_.at(static_cast<std::uint32_t>(id));
  }

  pwrfile::PwrReader reader_;
  std::unordered_map<std::uint32_t, std::uint32_t> places_;  ///< by the id of what is kept here
  std::map<InfoType, std::uint64_t> counts_;
  std::map<std::array<std::uint32_t, 3>, std::uint32_t> seriesPlaces_;  ///< by ids
  std::vector<std::uint32_t> annotations_;
  const Info* entity_ = nullptr;  ///< of the record at hand
  const Info* field_ = nullptr;
};

void TimelineSource::open(std::istream& file) {
  pwrfile::PwrSink nothing;
  reader_.open(file, nothing);
  for (const Info& info : reader_.infos().all()) add(info);
  completeMetrics();
}

void TimelineSource::add(const Info& info) {
  ++counts_[info.type];
  switch (info.type) {
    case InfoType::Metric:
      places_[info.id] = nextPlace(metrics);
      addMetric(info);
      break;
    case InfoType::State:
      metrics[placeOf(info.parent)].states.push_back(info.longName);
      break;
    case InfoType::Entity:
      places_[info.id] = nextPlace(entities);
      entities.push_back({.qualifiedName = info.longName,
                          .name = info.shortName,
                          .level = info.description,
                          .parent = info.hasParent() ? placeOf(info.parent) : kNone});
      break;
    case InfoType::Process:
    case InfoType::Thread:
      addTask(info);
      break;
    case InfoType::Text:
      places_[info.id] = nextPlace(texts);
      texts.push_back(info.longName);
      break;
    default:
      break;
  }
}

void TimelineSource::addMetric(const Info& info) {
  metrics.push_back(
      {.name = info.longName, .feature = info.shortName, .number = std::int64_t{info.value}});
}

void TimelineSource::addQuantity(const Info& quantity, Metric& metric) const {
  constexpr std::string_view kFactor = "multiplier ";
  metric.quantity = quantity.longName;
  metric.units = quantity.shortName;
  metric.quantityKind = quantity.value;
  if (!quantity.hasParent()) return;
  const Info& rate = *reader_.infos().find(quantity.parent);
  metric.rate = {.name = rate.longName, .units = rate.shortName};
  const std::string_view text = quantity.description;
  if (!text.starts_with(kFactor)) return;
  std::from_chars(text.data() + kFactor.size(), text.data() + text.size(), metric.rate->factor);
}

/// A thread may have a process that is not described.
void TimelineSource::addTask(const Info& info) {
  std::deque<Task>& tasks = info.type == InfoType::Process ? processes : threads;
  places_[info.id] = nextPlace(tasks);
  tasks.push_back({.number = info.value,
                   .name = info.longName,
                   .shortName = info.shortName,
                   .lifetime = info.description,
                   .process = info.hasParent() ? placeOf(info.parent) : kNone});
}

/// What a metric refers to may be described after it.
void TimelineSource::completeMetrics() {
  const pwrfile::PwrInfoTable& infos = reader_.infos();
  std::unordered_map<std::uint32_t, std::string> fields;
  for (const Info& info : infos.all()) {
    if (info.type != InfoType::FieldOf) continue;
    const Info& field = *infos.find(info.value);
    std::string& names = fields[info.parent];
    names += (names.empty() ? "" : ", ") + field.longName;
    metrics[placeOf(info.parent)].combinations.push_back(
        {.hasDescriptor = true, .descriptor = field.longName, .description = field.description});
  }
  for (const Info& info : infos.all()) {
    if (info.type != InfoType::Metric) continue;
    Metric& metric = metrics[placeOf(info.id)];
    const Info* const quantity = infos.relationOf(info, InfoType::QuantityOf);
    const Info* const kind = infos.classOf(info);
    if (kind != nullptr) {
      constexpr std::uint32_t kTime = 1;  // the number of the kind of quantity
      metric.kindName = kind->longName;
      metric.kind = kindOfClass(kind->value, quantity != nullptr && quantity->value == kTime);
    }
    if (quantity != nullptr) {
      addQuantity(*quantity, metric);
      metric.details.push_back({"quantity", quantity->longName});
    }
    const Info* const tab = infos.relationOf(info, InfoType::TabGroupOf);
    const Info* const timeline = infos.relationOf(info, InfoType::TimelineGroupOf);
    metric.details.push_back({"shown in", (tab == nullptr ? "-" : tab->longName) + " / " +
                                              (timeline == nullptr ? "-" : timeline->longName)});
    const auto names = fields.find(info.id);
    if (names != fields.end()) metric.details.push_back({"fields", names->second});
  }
}

bool TimelineSource::next(Point& point) {
  const std::optional<pwrfile::DataRecord> record = reader_.next();
  if (!record) return false;
  entity_ = nullptr;
  field_ = nullptr;
  annotations_.clear();
  point = {.time = record->tsc, .duration = std::numeric_limits<double>::quiet_NaN()};
  point.value = std::numeric_limits<double>::quiet_NaN();
  point.type = ValueType::Text;
  for (const Attribute& attribute : record->attributes) read(attribute, point);
  point.series = seriesOf(record->metric, entity_, field_);
  point.annotations = annotations_;
  return true;
}

void TimelineSource::read(const Attribute& attribute, Point& point) {
  switch (attribute.type) {
    case AttributeType::Entity:
      entity_ = reader_.infos().find(attribute.value);
      return;
    case AttributeType::Field:
      field_ = reader_.infos().find(attribute.value);
      return;
    case AttributeType::Process:
      point.process = placeOf(attribute.value);
      return;
    case AttributeType::Thread:
      point.thread = placeOf(attribute.value);
      return;
    case AttributeType::Info:
      readText(attribute, point);
      return;
    case AttributeType::Duration:
      point.duration = static_cast<double>(attribute.value) / *clock().mhz;
      return;
    case AttributeType::Metric:
    case AttributeType::CallStackFrame:
    case AttributeType::Quantity:
    case AttributeType::Color:
      return;
    default:
      readNumber(attribute, point);
  }
}

/// The first text is the value where there is no number.
void TimelineSource::readText(const Attribute& attribute, Point& point) {
  const std::uint32_t text = placeOf(attribute.value);
  if (point.type == ValueType::Text && point.text == kNone) {
    point.text = text;
  } else {
    annotations_.push_back(text);
  }
}

void TimelineSource::readNumber(const Attribute& attribute, Point& point) const {
  double number = 0.0;
  switch (attribute.type) {
    case AttributeType::Real:
    case AttributeType::RealLowerBound:
    case AttributeType::RealUpperBound:
      point.type = ValueType::Real;
      number = reader_.real(attribute.value);
      break;
    case AttributeType::Int:
    case AttributeType::IntLowerBound:
    case AttributeType::IntUpperBound:
      point.type = ValueType::Signed;
      number = static_cast<double>(static_cast<std::int64_t>(attribute.value));
      break;
    default:
      point.type = ValueType::Unsigned;
      number = static_cast<double>(attribute.value);
  }
  if (attribute.type == AttributeType::RealUpperBound ||
      attribute.type == AttributeType::IntUpperBound ||
      attribute.type == AttributeType::UIntUpperBound) {
    point.isRange = true;
    point.upper = number;
    point.upperBits = attribute.value;
  } else {
    point.value = number;
    point.bits = attribute.value;
  }
}

std::uint32_t TimelineSource::seriesOf(const Info& metric, const Info* entity, const Info* field) {
  const auto idOf = [](const Info* info) { return info == nullptr ? 0 : info->id; };
  const auto [place, isNew] =
      seriesPlaces_.try_emplace({metric.id, idOf(entity), idOf(field)}, nextPlace(series));
  if (isNew) {
    Series& known = series.emplace_back();
    known.metric = placeOf(metric.id);
    if (entity != nullptr) {
      known.entity = placeOf(entity->id);
      known.label = entity->longName;
    }
    if (field != nullptr) {
      known.descriptor = field->longName;
      known.description = field->description;
    }
  }
  return place->second;
}

Clock TimelineSource::clock() const {
  constexpr double kHzPerMhz = 1e6;
  constexpr std::uint64_t kStep = 100;  // ns
  const pwrfile::System& system = reader_.system();
  // A clock without a frequency is no faster than one tick a microsecond.
  return {.mhz = system.tscHz == 0 ? 1.0 : system.tscHz / kHzPerMhz,
          .start = system.startTsc,
          .startNs = system.startTime * kStep};
}

std::vector<Fact> TimelineSource::system() const {
  const pwrfile::System& system = reader_.system();
  return {
      {"Host Name", system.hostName},
      {"Platform Name", system.platformName},
      {"OS Name", system.osName},
      {"OS Version", pwrfile::versionText(system)},
      {"Architecture", pwrfile::architectureName(system.architecture)},
      {"Collector Version", pwrfile::collectorText(system)},
      {"TSC Frequency Hz", std::to_string(system.tscHz)},
      {"CPU Frequency MHz", std::to_string(system.cpuMhz)},
      {"Address Bits", std::to_string(system.addressBits)},
      {"CPU ID", pwrfile::cpuIdText(system)},
      {"CPUs", std::to_string(system.cpus.size())},
      {"Package/Core/Thread", pwrfile::cpusText(system)},
      {"Collection Start Ticks", std::to_string(system.startTsc)},
      {"Collection Start Time", pwrfile::startText(system)},
  };
}

std::vector<Fact> TimelineSource::remarks() const {
  std::string records = std::to_string(reader_.infos().all().size());
  for (const auto& [type, count] : counts_) {
    records += ", " + std::string(pwrfile::infoTypeName(type)) + " " + std::to_string(count);
  }
  return {{"Info records", records}, {"Record version", std::to_string(reader_.version())}};
}

}  // namespace

std::unique_ptr<ResultSource> makeTimelineSource() {
  return std::make_unique<TimelineSource>();
}

}  // namespace tavrin
