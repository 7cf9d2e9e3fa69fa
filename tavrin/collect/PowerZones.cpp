#include "tavrin/collect/PowerZones.h"

#include <unistd.h>

#include <map>

namespace tavrin {

std::vector<PowerZone> findPowerZones(const SysRoot& root) {
  struct Found {
    PowerZone zone;
    std::string controlType;
  };
  std::vector<Found> found;
  std::map<std::string, std::string> names;  // of all zones, by their folder
  std::map<std::string, int> sameName;
  std::map<std::string, int> sameKey;
  // Folders are "type", which is no zone, "type:0", "type:0:1" and so on; parents come first.
  for (const std::string& folder : root.list(kPowerZones)) {
    const std::size_t typeEnd = folder.find(':');
    const std::string path = std::string(kPowerZones) + "/" + folder;
    std::string name = root.readLine(path + "/name");
    if (typeEnd == std::string::npos || name.empty()) continue;
    const auto parent = names.find(folder.substr(0, folder.rfind(':')));
    if (parent != names.end()) name.insert(0, "/").insert(0, parent->second);
    names[folder] = name;
    if (access(root.path(path + "/energy_uj").c_str(), F_OK) != 0) continue;
    const std::string controlType = folder.substr(0, typeEnd);
    PowerZone zone{.folder = path, .key = controlType, .name = name};
    zone.key.append(":").append(name);
    ++sameName[zone.name];
    ++sameKey[zone.key];
    found.push_back({std::move(zone), controlType});
  }
  std::vector<PowerZone> zones;
  for (Found& each : found) {
    PowerZone& zone = each.zone;
    if (sameKey[zone.key] > 1) {
      // The firmware gave one name twice; only the folder is left to tell the zones apart.
      const std::string folder = " (" + zone.folder.substr(zone.folder.rfind('/') + 1) + ")";
      zone.name += folder;
      zone.key += folder;
    } else if (sameName[zone.name] > 1) {
      zone.name += " (" + each.controlType + ")";
    }
    zones.push_back(std::move(zone));
  }
  return zones;
}

}  // namespace tavrin
