#include "writers/continuous/TraceDocument.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "formats/ztjson_format.h"
#include "writers/common/MetricTraits.h"
#include "writers/common/SystemFacts.h"
#include "writers/continuous/DocumentNames.h"
#include "writers/continuous/PointWriter.h"

namespace {

namespace trace = ztjson::trace;

constexpr auto kSecondValue = joined(",\"", trace::kSecondValue, "\":");

using Group = TraceModel::Group;
using Value = TraceContainer::Value;

/// Writes a fact in the form of its type.
void writeFact(JsonWriter& json, const SystemFact& fact, const TraceCollection& collection) {
  const std::string_view key = fact.key;
  if (key == ztjson::kStartTimestamp) return writeMember(json, key, collection.startTimestamp);
  const SystemFactValue value = fact.of(*collection.system);
  if (const auto* const text = std::get_if<std::string>(&value)) {
    writeMember(json, key, *text);
  } else if (const auto* const count = std::get_if<std::uint64_t>(&value)) {
    writeMember(json, key, static_cast<unsigned long long>(*count));
  } else if (const auto* const frequency = std::get_if<float>(&value)) {
    writeMember(json, key, static_cast<double>(*frequency));
  } else {
    writeMember(json, key, std::get<double>(value));
  }
}

void writeSystem(JsonWriter& json, const TraceCollection& collection) {
  constexpr std::pair<const char*, SystemFactGroup> kGroups[] = {
      {trace::kPlatform, SystemFactGroup::Platform},
      {trace::kOs, SystemFactGroup::OperatingSystem},
      {trace::kTavrin, SystemFactGroup::Collection}};
  writeKey(json, trace::kSystem);
  json.StartObject();
  for (const auto& [name, group] : kGroups) {
    writeKey(json, name);
    json.StartObject();
    for (const SystemFact& fact : systemFacts()) {
      if (fact.group == group && fact.key != nullptr) writeFact(json, fact, collection);
    }
    json.EndObject();
  }
  json.EndObject();
}

/// The states of a group: every state of its containers once, in the order in which they are
/// numbered.
std::vector<std::string> statesOf(const Group& group) {
  std::set<std::string> names;
  for (const auto& container : group.containers) {
    if (container->hasStates()) {
      names.insert(container->labels().begin(), container->labels().end());
    }
  }
  std::vector<std::string> states(names.begin(), names.end());
  sortStateNames(states);
  return states;
}

/// A name for each container of a group.
std::vector<std::string> namesOf(const Group& group) {
  std::vector<NameChoice> choices;
  for (const auto& container : group.containers) {
    const auto& [entity, metric, type, altUnits, hasStates] = container->description();
    if (entity == nullptr) {
      choices.push_back({group.name, group.name, metric});
    } else {
      choices.push_back(
          {entity->getName(), entity->getQualifiedName(), entity->getId() << 32U | metric});
    }
  }
  return uniqueNames(choices);
}

/// The text of the document on its way to the file.
class Pieces {
 public:
  explicit Pieces(pwr::OutputFile& file) : file_(file) { text_.Reserve(kPiece + kPiece / 4); }
  JsonBuffer& text() { return text_; }

  void drain() {
    file_.write({text_.GetString(), text_.GetSize()});
    text_.Clear();
  }
  void drainWhenLarge() {
    if (text_.GetSize() >= kPiece) drain();
  }

 private:
  // Larger writes save nothing, and this stays in a processor's cache.
  static constexpr std::size_t kPiece = std::size_t{512} * 1024;

  pwr::OutputFile& file_;
  JsonBuffer text_;
};

/// Writes one group: what its values mean, then its containers.
class GroupWriter {
 public:
  GroupWriter(PointWriter& json, Pieces& pieces, const Group& group)
      : json_(json),
        pieces_(pieces),
        group_(group),
        first_(*group.containers.front()),
        states_(statesOf(group)) {
    for (std::size_t i = 0; i < states_.size(); ++i)
      stateKeys_[states_[i]] = "\"" + std::to_string(i) + "\":";
    const std::vector<AltUnit>& units = first_.description().altUnits;
    if (units.empty()) return;
    isRate_ = units.back().isCalculatedRate && !first_.hasStates();
    unit_ = isRate_ ? &units.back() : &units.front();
  }

  void write() {
    writeKey(json_, group_.name);
    json_.StartObject();
    writeMetaData();
    writeKey(json_, trace::kData);
    json_.StartObject();
    const std::vector<std::string> names = namesOf(group_);
    for (std::size_t i = 0; i < names.size(); ++i) writeContainer(names[i], *group_.containers[i]);
    json_.EndObject();
    json_.EndObject();
  }

 private:
  using Place = TraceContainer::Values::Iterator;

  void writeMetaData() {
    writeKey(json_, trace::kMetaData);
    json_.StartObject();
    writeMember(json_, trace::kType, metricKindText(first_.description().type));
    if (first_.hasStates()) {
      writeKey(json_, trace::kStates);
      json_.StartArray();
      for (const std::string& state : states_) writeText(json_, state);
      json_.EndArray();
    }
    writeKey(json_, trace::kAltUnits);
    json_.StartArray();
    for (const AltUnit& unit : first_.description().altUnits) {
      json_.StartObject();
      writeMember(json_, trace::kName, unit.name);
      writeMember(json_, trace::kUnit, unit.unit);
      writeMember(json_, trace::kConversion, unit.conversion);
      writeKey(json_, trace::kIsCalculatedRate);
      json_.Bool(unit.isCalculatedRate);
      json_.EndObject();
    }
    json_.EndArray();
    if (unit_ != nullptr) writeMember(json_, trace::kUnits, unit_->unit);
    json_.EndObject();
  }

  void writeContainer(const std::string& name, const TraceContainer& container) {
    const bool isOfEntity = container.description().entity != nullptr;
    std::vector<std::string> keys;  // by the container's labels
    if (container.hasStates()) {
      for (const std::string& label : container.labels()) keys.push_back(stateKeys_.at(label));
    }
    writeKey(json_, name);
    json_.StartObject();
    writeMember(json_, trace::kName, name);
    writeMember(json_, trace::kFriendlyName, isOfEntity ? name + " " + group_.name : group_.name);
    writeKey(json_, trace::kPoints);
    json_.StartArray();
    const Place end = container.values().end();
    for (Place value = container.values().begin(); value != end;) {
      json_.startPoint(value->times.x, value->times.x1);
      value = container.hasStates() ? writeStates(keys, value, end) : writePositions(value, end);
      json_.put('}');
      pieces_.drainWhenLarge();
    }
    json_.EndArray();
    json_.EndObject();
  }

  /// Writes the values of the point that begins at `value` and returns where the next one begins.
  Place writeStates(const std::vector<std::string>& keys, Place value, const Place& end) {
    json_.put('{');
    json_.copy(keys[value->label]);
    json_.number(value->value);
    while (++value != end && !value->startsPoint) {
      json_.put(',');
      json_.copy(keys[value->label]);
      json_.number(value->value);
    }
    json_.put('}');
    return value;
  }

  Place writePositions(Place value, const Place& end) {
    json_.number(shown(*value));
    if (++value == end || value->startsPoint) return value;
    json_.copy(kSecondValue);
    json_.number(shown(*value));
    return ++value;
  }

  double shown(const Value& value) const {
    if (!isRate_) return value.value;
    // There is no rate over no time; 0 keeps the point on the axis.
    if (value.times.x1 == value.times.x) return 0.0;
    const auto microseconds = static_cast<double>(value.times.x1 - value.times.x);
    const double rate = unit_->conversion * value.value * 1e6 / microseconds;
    if (std::isfinite(rate) || !std::isfinite(value.value)) return rate;
    // The document has no place for an infinity that only the conversion makes.
    constexpr double kLargest = std::numeric_limits<double>::max();
    return std::clamp(value.value / microseconds * 1e6 * unit_->conversion, -kLargest, kLargest);
  }

  PointWriter& json_;
  Pieces& pieces_;
  const Group& group_;
  const TraceContainer& first_;
  std::vector<std::string> states_;
  std::unordered_map<std::string, std::string> stateKeys_;  ///< their numbers, as keys of points
  const AltUnit* unit_ = nullptr;  ///< what "units" says; null without units
  bool isRate_ = false;            ///< the values are shown as rates, in `unit_`
};

}  // namespace

void writeTraceDocument(const TraceCollection& collection, const TraceModel& model,
                        pwr::OutputFile& file) {
  Pieces pieces(file);
  PointWriter json(pieces.text());
  json.StartObject();
  writeMember(json, trace::kFileType, trace::kFileTypeText);
  writeKey(json, trace::kVersion);
  json.StartObject();
  writeMember(json, trace::kMajor, trace::kMajorNumber);
  writeMember(json, trace::kMinor, 0ULL);
  writeMember(json, trace::kRevision, 0ULL);
  json.EndObject();
  writeSystem(json, collection);
  writeKey(json, trace::kData);
  json.StartObject();
  for (const Group& group : model.groups()) GroupWriter(json, pieces, group).write();
  json.EndObject();
  json.EndObject();
  json.put('\n');
  pieces.drain();
}
