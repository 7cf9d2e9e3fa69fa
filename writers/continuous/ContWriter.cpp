#include "writers/continuous/ContWriter.h"

#include <new>

#include "formats/ztjson_format.h"
#include "writers/continuous/ContinuousCommon.h"
#include "writers/continuous/DocumentNames.h"
#include "writers/host/Quantity.h"

namespace {

namespace numbered = ztjson::numbered;

using Metadata = ContinuousWriter::Metadata;

int g_nextFileNumber = 0;

/// Has an empty document get its memory for `count` bytes at once.
void reserveLarge(JsonBuffer& document, std::size_t count) {
  document.Reserve(count);
  preferLargePages(document.GetString(), count);
}

void writeEntry(JsonWriter& json, const Metadata::Data& entry);

void writeObject(JsonWriter& json, const Metadata::Data& object) {
  json.StartObject();
  for (const auto& member : object.children) writeEntry(json, *member);
  json.EndObject();
}

/// One value stands by itself, several in an array; a key without values is left out.
void writeEntry(JsonWriter& json, const Metadata::Data& entry) {
  const std::size_t count = entry.values.size() + entry.children.size();
  if (count == 0) return;
  writeKey(json, entry.key);
  if (count > 1) json.StartArray();
  for (const std::string& value : entry.values) writeText(json, value);
  for (const auto& object : entry.children) writeObject(json, *object);
  if (count > 1) json.EndArray();
}

void writeNode(JsonWriter& json, const Metadata& node, const std::string& name) {
  json.StartObject();
  writeMember(json, numbered::kFeatureName, node.featureName);
  writeMember(json, numbered::kName, name);
  writeKey(json, numbered::kId);
  json.Int(node.id);
  for (const auto& child : node.children) writeEntry(json, *child);
  json.EndObject();
}

}  // namespace

ContWriter& ContWriter::shared(const std::string& baseName) {
  static ContWriter writer(baseName);
  return writer;
}

int ContWriter::add(const pwr::Metric& metric) {
  const auto [place, isNew] = metrics_.try_emplace(metric.getId());
  MetricState& state = place->second;
  if (isNew) state.isRate = pwr::isRate(metric.getQuantity());
  for (const pwr::DataElement& element : metric.getData().elements) {
    if (element.getDescriptor() == nullptr) {
      PW_LOG(kContinuousLog, told_.levelOf("no descriptor", metric.getId(), element.getEntity()),
             "WARNING: Continuous writer plugin failed to retrieve descriptor\n");
      continue;
    }
    addElement(metric, state, element);
  }
  if (isNew) addMetadata(metric);
  return 0;
}

void ContWriter::addElement(const pwr::Metric& metric, MetricState& state,
                            const pwr::DataElement& element) {
  value_.read(*element.getValue());
  if (value_.kind() == ElementValue::Kind::None) {
    PW_LOG(kContinuousLog,
           told_.levelOf("no value", metric.getId(), element.getEntity(), element.getDescriptor()),
           "WARNING: Unable to retrieve a data value of %s\n", metric.getName().c_str());
    return;
  }
  const auto ownDuration = static_cast<double>(element.getDuration());
  const double duration = state.isRate ? ownDuration : ownDuration * tickPeriod_;
  const double value = value_.isState() ? duration : value_.number();
  logElement(element, value);
  const std::uint32_t series = state.series.find(element.getEntity(), element.getDescriptor(), [&] {
    series_.push_back({metric.getId(), nameOf(element.getEntity()), element.getDescriptor()});
    return static_cast<std::uint32_t>(series_.size() - 1);
  });
  static_assert(sizeof(Point) <= 32, "points are what the memory of a period goes into");
  ::new (points_.append(sizeof(Point))) Point{metric.getData().timestamp, duration, value, series};
}

void ContWriter::logElement(const pwr::DataElement& element, double value) const {
  PW_LOG(kContinuousLog, PW_LOG_INFO,
         "INFO: key = %s, name = %s, state = %s, hasStates = %s, Value = %.2f\n",
         nameOf(element.getEntity()).c_str(), element.getDescriptor()->getName().c_str(),
         value_.isState() ? value_.stateName().c_str() : "N/A", value_.isState() ? "TRUE" : "FALSE",
         value);
}

void ContWriter::addMetadata(const pwr::Metric& metric) {
  PW_LOG(kContinuousLog, PW_LOG_INFO,
         "INFO: metric container with name %s and id %u does NOT have metadata sent yet\n",
         metric.getName().c_str(), metric.getId());
  nodes_.push_back(describeMetric(metric));
}

/// Names for the nodes of the metrics, of which one may have the name of another or of the system.
std::vector<std::string> ContWriter::nodeNames() const {
  std::vector<NameChoice> choices{{numbered::kSystem, numbered::kSystem}};
  for (const auto& node : nodes_) {
    const auto id = static_cast<unsigned int>(node->id);
    choices.push_back({node->name, node->name + " (" + std::to_string(id) + ")", id});
  }
  std::vector<std::string> names = uniqueNames(choices);
  names.erase(names.begin());
  return names;
}

bool ContWriter::write(const pwr::SystemMetadata& system) {
  return writeFile(system, Unfinished::Discarded);
}

bool ContWriter::endRun(const pwr::SystemMetadata& system, bool isFlushed) {
  const bool isComplete = isFlushed || writeFile(system, Unfinished::Kept);
  if (--runs_ == 0) {
    points_.clear();
    told_ = {};
  }
  return isComplete;
}

bool ContWriter::writeFile(const pwr::SystemMetadata& system, Unfinished unfinished) {
  const std::string name = numberedFileName(baseName_, g_nextFileNumber, ".ztjson");
  const bool isComplete = writeWholeFile(name, unfinished, [&](pwr::Logger& file) {
    JsonBuffer document;
    writeDocument(system, document);
    PW_LOG(kContinuousLog, PW_LOG_INFO, "INFO: string is %s\n", document.GetString());
    PW_LOG(kContinuousLog, PW_LOG_INFO, "INFO: data size = %zu\n", document.GetSize());
    return file.write(document.GetString(), document.GetSize()) == 0;
  });
  if (!isComplete) return false;
  ++g_nextFileNumber;
  points_.clear();
  return true;
}

void ContWriter::writeDocument(const pwr::SystemMetadata& system, JsonBuffer& document) const {
  constexpr std::size_t kBytesPerPoint = 112;  // about what a point takes
  reserveLarge(document, points_.size() / sizeof(Point) * kBytesPerPoint);
  JsonWriter json(document);
  json.StartObject();
  writeMetadata(json, system);
  writePoints(json);
  json.EndObject();
}

void ContWriter::writeMetadata(JsonWriter& json, const pwr::SystemMetadata& system) const {
  writeKey(json, numbered::kMetadata);
  json.StartArray();
  writeNode(json, *describeSystem(system), numbered::kSystem);
  const std::vector<std::string> names = nodeNames();
  for (std::size_t i = 0; i < names.size(); ++i) writeNode(json, *nodes_[i], names[i]);
  json.EndArray();
}

void ContWriter::writePoints(JsonWriter& json) const {
  writeKey(json, numbered::kData);
  json.StartArray();
  for (RecordBlocks::Cursor points(points_); !points.isAtEnd();) {
    const Point& point = *reinterpret_cast<const Point*>(points.take(sizeof(Point)));
    const Series& series = series_[point.series];
    json.StartObject();
    writeKey(json, numbered::kId);
    // As in "Metadata": signed, whatever the number.
    json.Int(static_cast<int>(series.metric));
    writeMember(json, numbered::kEntity, series.entity);
    writeMember(json, numbered::kDescriptor, series.descriptor->getName());
    writeMember(json, numbered::kTimestamp, point.timestamp);
    writeMember(json, numbered::kDuration, point.duration);
    writeMember(json, numbered::kValue, point.value);
    json.EndObject();
  }
  json.EndArray();
}
