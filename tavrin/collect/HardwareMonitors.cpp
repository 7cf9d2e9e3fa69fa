#include "tavrin/collect/HardwareMonitors.h"

#include <set>

#include "tavrin/collect/OpenFile.h"

namespace tavrin {

std::string sensorName(const std::string& chip, const std::string& label,
                       const std::string& folder) {
  std::string name = chip;
  if (!chip.empty() && !label.empty()) name += " ";
  name += label;
  return name.empty() ? folder : name + " (" + folder + ")";
}

std::vector<std::string> monitorKeys(const SysRoot& root) {
  const std::string prefix = "hwmon";
  std::vector<std::string> keys;
  for (const unsigned int number : root.listNumbered(kMonitors, prefix)) {
    const std::string monitor = prefix + std::to_string(number);
    keys.push_back(monitor + " " + root.readLine(kMonitors + ("/" + monitor) + "/name"));
  }
  return keys;
}

std::vector<MonitorSensor> findSensors(const SysRoot& root, const std::string& monitor,
                                       const std::string& kind,
                                       const std::vector<const char*>& endings) {
  const std::string folder = std::string(kMonitors) + "/" + monitor + "/";
  const std::string chip = root.readLine(folder + "name");
  std::vector<MonitorSensor> sensors;
  std::set<unsigned int> numbers;
  std::set<std::string> labels;
  for (const char* const ending : endings) {
    for (const unsigned int number : root.listNumbered(folder, kind, ending)) {
      const std::string sensor = kind + std::to_string(number);
      const std::string path = root.path(folder + sensor + ending);
      if (!OpenFile::isReadable(path) || !numbers.insert(number).second) continue;
      std::string label = root.readLine(folder + sensor + "_label");
      if (label.empty()) label = sensor;
      if (!labels.insert(label).second) label += " " + sensor;
      sensors.push_back({sensorName(chip, label, monitor), path});
    }
  }
  return sensors;
}

}  // namespace tavrin
