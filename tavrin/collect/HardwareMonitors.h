#pragma once

#include <string>
#include <vector>

#include "tavrin/collect/SysRoot.h"

namespace tavrin {

/// A sensor of a hardware monitor, as Documentation/hwmon/sysfs-interface.rst and
/// Documentation/ABI/testing/sysfs-class-hwmon have them.
struct MonitorSensor {
  std::string name;  ///< "chip label (hwmon1)"
  std::string path;  ///< of the file with its value, the root included
};

constexpr const char* kMonitors = "/sys/class/hwmon";

/// "chip label (folder)"; either of the first two may be empty. Neither names of chips nor labels
/// are unique on a machine.
std::string sensorName(const std::string& chip, const std::string& label,
                       const std::string& folder);

/// Of each monitor its folder, a blank and the name of its chip, as the kernel gives the numbers of
/// monitors that are gone to others.
std::vector<std::string> monitorKeys(const SysRoot& root);

/// The sensors of one kind ("temp", "fan") of a monitor ("hwmon1") whose files can be opened: their
/// values may come later, as those of a sleeping device do. Each has the first of the `endings`
/// ("_input") for which it has a file.
std::vector<MonitorSensor> findSensors(const SysRoot& root, const std::string& monitor,
                                       const std::string& kind,
                                       const std::vector<const char*>& endings);

}  // namespace tavrin
