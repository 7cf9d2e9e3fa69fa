#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <string_view>

#include "hostcommon/Utf8Text.h"
#include "tavrin/doctor/DoctorReport.h"

namespace tavrin {

namespace {

using State = FeatureProbe::State;
using Json = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

constexpr std::pair<State, const char*> kStateNames[] = {{State::Works, "works"},
                                                         {State::Partial, "partial"},
                                                         {State::Refused, "refused"},
                                                         {State::Absent, "absent"}};

const char* nameOf(State state) {
  return std::ranges::find(kStateNames, state, &std::pair<State, const char*>::first)->second;
}

void writeText(Json& json, const char* key, std::string_view text) {
  const std::string valid = pwr::validUtf8(text);
  json.Key(key);
  json.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

template <typename Items, typename Write>
void writeArray(Json& json, const char* key, const Items& items, const Write& write) {
  json.Key(key);
  json.StartArray();
  for (const auto& item : items) write(item);
  json.EndArray();
}

void writeFeature(Json& json, const FeatureFinding& finding) {
  json.StartObject();
  writeText(json, "name", finding.tag);
  writeText(json, "state", nameOf(finding.probe.state()));
  writeText(json, "measures", finding.help);
  json.Key("onDemand");
  json.Bool(finding.isOnDemand);
  writeText(json, "why", finding.probe.whyAbsent);
  writeArray(json, "missing", finding.probe.missing(),
             [&](const Right* right) { json.String(right->name); });
  writeArray(json, "refused", finding.probe.refusals, [&](const Refusal& refusal) {
    json.StartObject();
    writeText(json, "what", refusal.what);
    json.Key("errno");
    json.Int(refusal.error);
    json.EndObject();
  });
  json.EndObject();
}

void writeRight(Json& json, const Right& right) {
  json.StartObject();
  writeText(json, "name", right.name);
  writeText(json, "needs", right.needs);
  writeArray(json, "commands", right.recipe, [&](const char* command) { json.String(command); });
  json.EndObject();
}

void writeCheck(Json& json, const Check& check) {
  json.StartObject();
  writeText(json, "name", check.name);
  json.Key("good");
  json.Bool(check.isGood);
  writeText(json, "text", check.text);
  json.EndObject();
}

}  // namespace

std::string doctorJson(const Diagnosis& diagnosis) {
  rapidjson::StringBuffer buffer;
  Json json(buffer);
  json.SetIndent(' ', 1);
  json.StartObject();
  writeText(json, "user", diagnosis.user);
  writeArray(json, "features", diagnosis.features,
             [&](const FeatureFinding& finding) { writeFeature(json, finding); });
  writeArray(json, "rights", diagnosis.missing(),
             [&](const Right* right) { writeRight(json, *right); });
  writeArray(json, "checks", diagnosis.checks,
             [&](const Check& check) { writeCheck(json, check); });
  json.Key("sums");
  json.StartObject();
  for (const auto& [state, name] : kStateNames) {
    json.Key(name);
    json.Uint64(diagnosis.count(state));
  }
  json.EndObject();
  json.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

}  // namespace tavrin
