#include "exporters/html/PageFacts.h"

#include <algorithm>
#include <string_view>
#include <variant>

#include "exporters/html/PageText.h"
#include "hostcommon/NumberText.h"
#include "writers/common/SystemFacts.h"

namespace {

constexpr std::size_t kMostProcesses = 1000;
constexpr std::size_t kMostValue = 2000;
constexpr std::size_t kMostInfos = 200;

const char* nameOf(SystemFactGroup group) {
  switch (group) {
    case SystemFactGroup::Platform:
      return "Platform";
    case SystemFactGroup::OperatingSystem:
      return "Operating system";
    default:
      return "Collection";
  }
}

/// "" for a text or a frequency that is not known.
std::string factText(const SystemFactValue& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) return *text;
  if (const auto* const count = std::get_if<std::uint64_t>(&value)) return std::to_string(*count);
  std::string text;
  if (const auto* const seconds = std::get_if<double>(&value)) {
    pwr::appendShortest(text, *seconds);
    return text;
  }
  constexpr int kDecimals = 1;
  const float frequency = std::get<float>(value);
  if (frequency != 0.0F) pwr::appendFixed(text, static_cast<double>(frequency), kDecimals);
  return text;
}

void writeFact(PageJson& json, std::string_view group, const std::string& name,
               const std::string& value) {
  if (value.empty()) return;
  json.beginObject();
  json.member("group", group);
  json.member("name", pageText(name));
  json.member("value", pageText(value, kMostValue));
  json.endObject();
}

/// A process of the list, and what decides on its place there.
struct ListedProcess {
  int entity = -1;
  long long pid = 0;
  std::string name;
  unsigned long long start = 0;
  unsigned long long end = 0;

  /// In ticks; the times of processes that are not described are not known.
  unsigned long long lived(unsigned long long stop) const {
    const unsigned long long until = end == 0 ? stop : end;
    return until > start ? until - start : 0;
  }
};

std::vector<ListedProcess> processesOf(const pwr::SystemMetadata* system,
                                       const PageEntities& entities) {
  auto owners = entities.owners();
  std::erase_if(owners, [](const auto& owner) { return owner.first.first < 0; });
  std::vector<ListedProcess> list;
  if (system != nullptr) {
    list.reserve(system->getProcesses().size() + owners.size());
    for (const pwr::Process& process : system->getProcesses()) {
      ListedProcess one{.pid = process.getPid(),
                        .name = processName(process),
                        .start = process.getStartTime(),
                        .end = process.getEndTime()};
      if (const auto owner = owners.find({one.pid, one.name}); owner != owners.end()) {
        one.entity = owner->second;
        owners.erase(owner);
      }
      list.push_back(std::move(one));
    }
  }
  for (const auto& [owner, entity] : owners) list.push_back({entity, owner.first, owner.second});
  return list;
}

}  // namespace

void writeFacts(PageJson& json, const pwr::SystemMetadata& system) {
  json.beginArray();
  for (const SystemFact& fact : systemFacts()) {
    if (fact.title != nullptr)
      writeFact(json, nameOf(fact.group), fact.title, factText(fact.of(system)));
  }
  const auto& infos = system.getInfoValues();
  for (std::size_t n = 0; n < std::min(infos.size(), kMostInfos); ++n) {
    const std::string& meaning = infos[n].getValueDesc();
    writeFact(json, "Further facts", infos[n].getInfoName(),
              std::to_string(infos[n].getValue()) + (meaning.empty() ? "" : " (" + meaning + ")"));
  }
  json.endArray();
}

std::string titleOf(const pwr::SystemMetadata* system) {
  const std::string host = system == nullptr ? "" : pageText(system->getHostName());
  const std::string start = system == nullptr ? "" : pageText(system->getCollectionStartTime());
  if (host.empty() && start.empty()) return "A run";
  return host + (host.empty() || start.empty() ? "" : ", ") + start;
}

std::size_t writeProcesses(PageJson& json, const pwr::SystemMetadata* system,
                           const PageEntities& entities, double ticksPerSecond) {
  std::vector<ListedProcess> list = processesOf(system, entities);
  const unsigned long long begin = system == nullptr ? 0 : system->getCollectionStartTimestamp();
  const unsigned long long stop = system == nullptr ? 0 : system->getCollectionStopTimestamp();
  std::ranges::stable_sort(list, {}, [&](const ListedProcess& one) {
    const auto place = static_cast<unsigned int>(one.entity);  // -1: behind all others
    return std::pair(place, ~one.lived(stop));
  });
  const auto seconds = [&](unsigned long long time) {
    const auto ticks = static_cast<double>(static_cast<long long>(time - begin));
    return time == 0 ? std::string("null") : jsonNumber(ticks / ticksPerSecond);
  };
  const std::size_t shown = std::min(list.size(), kMostProcesses);
  json.beginArray();
  for (std::size_t n = 0; n < shown; ++n) {
    json.beginObject();
    json.member("entity", static_cast<double>(list[n].entity));
    json.member("pid", static_cast<double>(list[n].pid));
    json.member("name", pageText(list[n].name));
    json.rawMember("fromSec", seconds(list[n].start));
    json.rawMember("toSec", seconds(list[n].end));
    json.endObject();
  }
  json.endArray();
  return list.size() - shown;
}
