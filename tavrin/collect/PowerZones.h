#pragma once

#include <string>
#include <vector>

#include "tavrin/collect/SysRoot.h"

namespace tavrin {

/// A zone of the kernel's power capping framework. The kernel numbers zones in the order in which
/// their drivers load, so a zone's folder is not its identity.
struct PowerZone {
  std::string folder;  ///< below the root
  std::string key;     ///< what the zone is: control type and name; unique on the machine
  /// Name for users: the zone's own behind those of the zones around it ("package-0/core"); where
  /// several control types have the name, followed by the zone's one ("package-0 (rapl)").
  std::string name;

  /// Whether the zone is a whole processor package.
  bool isPackage() const {
    return name.starts_with("package") && name.find('/') == std::string::npos;
  }
};

constexpr const char* kPowerZones = "/sys/class/powercap";

/// The zones that have an energy counter, readable or not, in the order of their folders.
std::vector<PowerZone> findPowerZones(const SysRoot& root);

}  // namespace tavrin
