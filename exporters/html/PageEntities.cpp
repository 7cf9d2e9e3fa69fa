#include "exporters/html/PageEntities.h"

#include <array>
#include <string_view>

#include "exporters/html/PageText.h"

namespace {

struct LevelName {
  std::string_view told;
  const char* shown;
};

constexpr std::array<LevelName, 5> kLevels{{{"Package", "package"},
                                            {"Die", "die"},
                                            {"Module", "die"},
                                            {"Core", "core"},
                                            {"Thread", "cpu"}}};

const char* levelOf(const pwr::EntityHandle& entity) {
  for (const LevelName& level : kLevels) {
    if (level.told == entity.getLevel()) return level.shown;
  }
  return entity.getLevel().empty() ? "other" : "device";
}

}  // namespace

std::string processName(const pwr::Process& process) {
  if (!process.getName().empty()) return process.getName();
  const std::string& path = process.getPath();
  return path.substr(path.find_last_of("/\\") + 1);
}

PageEntities::PageEntities(const pwr::SystemMetadata* system) {
  if (system == nullptr) return;
  for (const pwr::Process& process : system->getProcesses()) {
    processNames_[process.getPid()] = processName(process);
  }
}

int PageEntities::numberOf(const pwr::EntityHandle* entity) {
  if (entity == nullptr) return -1;
  if (const auto known = numbers_.find(entity); known != numbers_.end()) return known->second;
  const int parent = numberOf(entity->getParent());
  std::string name = pageText(entity->getName());
  std::string path =
      parent < 0 ? name : entities_[static_cast<std::size_t>(parent)].path + "/" + name;
  const int number = static_cast<int>(entities_.size());
  entities_.push_back({std::move(name), pageText(path, 4 * kMostName), parent, levelOf(*entity)});
  return numbers_.emplace(entity, number).first->second;
}

int PageEntities::numberOf(const SeriesOwner& owner) {
  const auto known = processNames_.find(owner.pid);
  const bool isNamed = !owner.name.empty() || known == processNames_.end();
  const std::string& name = isNamed ? owner.name : known->second;
  const auto [place, isNew] =
      owners_.try_emplace({owner.pid, name}, static_cast<int>(entities_.size()));
  if (isNew) {
    std::string shown = pageText(name);
    if (owner.pid >= 0) shown += " (" + std::to_string(owner.pid) + ")";
    entities_.push_back({shown, shown, -1, owner.pid >= 0 ? "process" : "other"});
  }
  return place->second;
}

int PageEntities::numberOf(const PageSeries& series) {
  return series.owner != nullptr ? numberOf(*series.owner) : numberOf(series.entity);
}
