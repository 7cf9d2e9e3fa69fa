#include "readers/ZtjsonReader.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <set>

#include "formats/metric_kinds.h"
#include "formats/ztjson_format.h"
#include "readers/PlainText.h"

namespace ztjson {

namespace {

/// What stands under the last member of that key: a node of a numbered file has "Name" twice.
std::string lastText(const JsonNode& object, std::string_view wanted) {
  std::string text;
  object.eachMember([&](std::string_view key, const JsonNode& node) {
    if (key == wanted) text = node.text();
  });
  return text;
}

std::string scalarText(const JsonNode& node) {
  const JsonValue& value = node.value();
  if (value.IsUint64()) return std::to_string(value.GetUint64());
  return value.IsNumber() ? numberText(value.GetDouble()) : std::string(node.text());
}

/// Calls `visit` for the values of a member of a numbered file: a single one stands for itself,
/// several are in an array.
template <typename Visit>
void eachValue(const JsonNode& object, const char* key, const Visit& visit) {
  if (!object.has(key)) return;
  const JsonNode node = object.member(key);
  if (node.value().IsArray()) {
    node.eachElement(visit);
  } else {
    visit(node);
  }
}

std::string kindOf(const JsonNode& node) {
  node.require(std::ranges::find(kMetricKinds, node.text()) != kMetricKinds.end(),
               "a kind of metrics");
  return std::string(node.text());
}

std::int64_t idOf(const JsonNode& node) {
  const JsonValue& value = node.value();
  node.require(value.IsInt(), "a whole number from -2147483648 to 2147483647");
  return value.GetInt();
}

/// The times of a series ascend. `last` is that of its point before, and becomes this one's.
void requireOrder(const JsonNode& node, std::uint64_t& last) {
  node.require(node.whole() >= last,
               "a time of " + std::to_string(last) + " or later, as the series has had");
  last = node.whole();
}

}  // namespace

void ZtjsonReader::readFile(std::istream& file, const PointSink& sink) {
  open(file);
  Point point;
  while (next(point)) sink(point);
}

void ZtjsonReader::open(std::istream& file) {
  cursor_.reset();
  document_ = JsonDocument();  // before the next one takes memory
  parseJson(file, document_);
  const JsonNode& root = root_.emplace(document_);
  const bool isNumbered = root.object().has(numbered::kMetadata);
  root.require(files_ == 0 || (isContinuous_ && isNumbered),
               "a numbered file after another one, as only such a run has several files");
  ++files_;
  isContinuous_ = isNumbered;
  system_.clear();
  if (isNumbered) {
    readNumbered();
  } else {
    readTrace();
  }
}

bool ZtjsonReader::next(Point& point) {
  point.values.clear();
  if (!isContinuous_) {
    if (!cursor_->next()) return false;
    readTracePoint(point);
    return true;
  }
  if (pointAt_ == data_->value().Size()) return false;
  readPoint(data_->elementAt(pointAt_++), point);
  return true;
}

void ZtjsonReader::readSystem(const JsonNode& node, const std::vector<const char*>& groups) {
  for (const char* group : groups) {
    node.object().member(group).eachMember([&](std::string_view key, const JsonNode& value) {
      system_.emplace_back(key, scalarText(value));
    });
  }
}

void ZtjsonReader::readTrace() {
  const JsonNode& root = *root_;
  const JsonNode type = root.member(trace::kFileType);
  type.require(type.text() == trace::kFileTypeText, inQuotes(trace::kFileTypeText));
  const JsonNode version = root.member(trace::kVersion);
  const JsonNode major = version.object().member(trace::kMajor);
  major.require(major.whole() == trace::kMajorNumber,
                "version " + std::to_string(trace::kMajorNumber));
  readSystem(root.member(trace::kSystem), {trace::kPlatform, trace::kOs, trace::kTavrin});
  std::set<std::string_view> names;
  const JsonNode& data = data_.emplace(root.member(trace::kData));
  data.eachMember([&](std::string_view name, const JsonNode& group) {
    group.require(names.insert(name).second, "each metric once");
    readGroup(name, group);
  });
  cursor_.emplace(data);
}

void ZtjsonReader::readGroup(std::string_view name, const JsonNode& group) {
  const JsonNode description = group.object().member(trace::kMetaData);
  Metric metric{.name = std::string(name),
                .kind = kindOf(description.object().member(trace::kType))};
  readUnits(description, metric);
  if (description.has(trace::kStates)) {
    description.member(trace::kStates).eachElement([&](const JsonNode& state) {
      metric.states.emplace_back(state.text());
    });
  }
  for (const std::string& state : metric.states) metric.combinations.push_back({"", state, ""});
  metrics_.push_back(std::move(metric));
}

/// The first unit is the quantity's, the second its rate's.
void ZtjsonReader::readUnits(const JsonNode& description, Metric& metric) const {
  const JsonNode units = description.member(trace::kAltUnits);
  bool isFirst = true;
  units.eachElement([&](const JsonNode& unit) {
    const std::string name(unit.object().member(trace::kName).text());
    const std::string text(unit.member(trace::kUnit).text());
    const double factor = unit.member(trace::kConversion).number();
    metric.isRate = unit.member(trace::kIsCalculatedRate).flag();
    if (isFirst) {
      metric.quantity = name;
      metric.baseUnits = text;
    } else {
      metric.rate = {.name = name, .units = text, .factor = factor};
    }
    isFirst = false;
  });
  if (!units.value().Empty()) metric.units = description.member(trace::kUnits).text();
  // Groups with states have no rate mode.
  metric.isRate = metric.isRate && !description.has(trace::kStates);
}

void ZtjsonReader::readTracePoint(Point& point) {
  const JsonNode& node = cursor_->point();
  const JsonNode start = node.object().member(trace::kStart);
  const JsonNode end = node.member(trace::kEnd);
  end.require(end.whole() >= start.whole(), "an end that is not before the start");
  point.metric = cursor_->group();
  point.series = cursor_->container();
  point.start = start.whole();
  point.duration = static_cast<double>(end.whole() - point.start);
  readValues(metrics_[point.metric], node, point);
  for (const auto& value : point.values) requireOrder(start, cursor_->lastTime(value.first));
}

void ZtjsonReader::readValues(const Metric& metric, const JsonNode& node, Point& point) const {
  const JsonNode values = node.member(trace::kValue);
  if (!values.value().IsObject()) {
    point.values.emplace_back(trace::kValue, values.number());
    if (node.has(trace::kSecondValue)) {
      point.values.emplace_back(trace::kSecondValue, node.member(trace::kSecondValue).number());
    }
    return;
  }
  values.eachMember([&](std::string_view key, const JsonNode& value) {
    std::size_t state = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), state);
    // A group whose first container has no states does not name those of the others.
    const bool isNamed = !metric.states.empty();
    value.require(error == std::errc() && end == key.data() + key.size() &&
                      (!isNamed || state < metric.states.size()),
                  "an index of \"states\" as key");
    point.values.emplace_back(isNamed ? metric.states[state] : key, value.number());
  });
}

void ZtjsonReader::readNumbered() {
  const JsonNode metadata = root_->member(numbered::kMetadata);
  metadata.eachElement([&](const JsonNode& node) {
    if (!system_.empty()) return readMetric(node);
    // The first node describes the system.
    const JsonNode name = node.object().member(numbered::kName);
    name.require(name.text() == numbered::kSystem, inQuotes(numbered::kSystem));
    readSystem(node, {numbered::kPlatform, numbered::kOs, numbered::kTavrin});
    readStart(node);
  });
  metadata.require(!system_.empty(), "a node that describes the system");
  data_.emplace(root_->member(numbered::kData).array());
  pointAt_ = 0;
}

void ZtjsonReader::readStart(const JsonNode& system) {
  const JsonNode group = system.member(numbered::kTavrin);
  const JsonNode start = group.member(kStartTimestamp);
  start.require(files_ == 1 || start.text() == start_,
                inQuotes(start_) + ", the start of the collection in the files before");
  start_ = start.text();
}

void ZtjsonReader::readMetric(const JsonNode& node) {
  const JsonNode id = node.object().member(numbered::kId);
  const auto [found, isNew] = places_.try_emplace(idOf(id), Place{metrics_.size()});
  id.require(found->second.file < files_, "an ID that is new in this file");
  found->second.file = files_;
  Metric metric{.name = lastText(node, numbered::kName),
                .feature = std::string(node.member(numbered::kFeatureName).text()),
                .kind = kindOf(node.member(numbered::kType)),
                .id = idOf(id)};
  if (node.has(numbered::kUnits)) {
    metric.units = node.member(numbered::kUnits).text();
    metric.quantity = node.member(numbered::kQuantity).text();
  }
  eachValue(node, numbered::kStates,
            [&](const JsonNode& state) { metric.states.emplace_back(state.text()); });
  eachValue(node, numbered::kCombinations, [&](const JsonNode& combination) {
    Combination& known = metric.combinations.emplace_back();
    known.entity = combination.object().member(numbered::kEntity).text();
    known.descriptor = combination.member(numbered::kDescriptor).text();
    known.text = combination.member(numbered::kAttributeText).text();
  });
  if (isNew) {
    metrics_.push_back(std::move(metric));
  } else {
    const std::string& known = metrics_[found->second.metric].name;
    node.require(metric.name == known, "the name " + inQuotes(known) + " as in the files before");
  }
}

void ZtjsonReader::readPoint(const JsonNode& node, Point& point) {
  const JsonNode id = node.object().member(numbered::kId);
  const auto found = places_.find(idOf(id));
  id.require(found != places_.end() && found->second.file == files_,
             "the ID of a metric in \"Metadata\"");
  const std::string_view entity = node.member(numbered::kEntity).text();
  const std::string_view descriptor = node.member(numbered::kDescriptor).text();
  const JsonNode time = node.member(numbered::kTimestamp);
  point.metric = found->second.metric;
  point.series = entity;
  point.start = time.whole();
  point.duration = node.member(numbered::kDuration).number();
  node.member(numbered::kDuration).require(point.duration >= 0.0, "a duration");
  point.values.emplace_back(descriptor, node.member(numbered::kValue).number());
  series_ = std::to_string(point.metric);
  for (const std::string_view part : {entity, descriptor}) (series_ += '\0') += part;
  requireOrder(time, times_[series_]);
}

}  // namespace ztjson
