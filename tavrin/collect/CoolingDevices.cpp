#include "tavrin/collect/CoolingDevices.h"

#include <algorithm>
#include <string>
#include <utility>

#include "hostcommon/Descriptions.h"

namespace tavrin {

namespace {

constexpr const char* kCoolingDevices = "/sys/class/thermal";

/// Devices of more states than this are shown as numbers, as nobody reads a column for each.
constexpr unsigned long long kMostCoolingStates = 64;

}  // namespace

CoolingDevices::CoolingDevices(const SysRoot& root) {
  const std::string prefix = "cooling_device";
  for (const unsigned int number : root.listNumbered(kCoolingDevices, prefix)) {
    const std::string device = prefix + std::to_string(number);
    const std::string folder = std::string(kCoolingDevices) + "/" + device + "/";
    Device added{.file = OpenFile(root.path(folder + "cur_state"))};
    unsigned long long state = 0;
    if (added.file.readNumber(state) != 0) continue;
    unsigned long long highest = state;
    root.readNumber(folder + "max_state", highest);
    std::string name = root.readLine(folder + "type");
    name = name.empty() ? device : name.append(" (").append(device).append(")");
    added.entity = pwr::createEntity({.name = name, .level = "Cooling Device"});
    highestState_ = std::max(highestState_, highest);
    devices_.push_back(std::move(added));
  }
  if (empty()) return;
  descriptor_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("State", ""));
}

pwr::MetricDescription CoolingDevices::describe() const {
  pwr::MetricDescription metric{
      .name = "Cooling",
      .type = pwr::Metric::MetricType::TracedValueTransition,
      .legacyType = pwr::RealTableClass::Trace,
      .quantity = pwr::createQuantity({.type = pwr::QuantityType::State, .name = "State"}),
      .entityGroup = std::make_shared<const pwr::Field>("Cooling Device"),
      .descriptorGroup = std::make_shared<const pwr::Field>("Descriptor"),
      .valueGroup = std::make_shared<const pwr::Field>("State")};
  for (const Device& device : devices_) metric.combinations.push_back({device.entity, descriptor_});
  if (highestState_ > kMostCoolingStates) return metric;
  for (unsigned long long state = 0; state <= highestState_; ++state) {
    metric.finiteSet.emplace_back(state);
  }
  return metric;
}

void CoolingDevices::sample(unsigned long long now, const pwr::MetricDescription* metric,
                            SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  pwr::Metric::DataPoint* point = nullptr;
  for (Device& device : devices_) {
    if (complete && (!device.isTold || device.state != device.told)) {
      if (point == nullptr) point = &batch.add(metric, interval_.start());
      pwr::Data state = device.state ? pwr::Data(*device.state) : pwr::Data("unknown");
      point->elements.emplace_back(std::move(state), descriptor_, device.entity, 0);
      device.told = device.state;
      device.isTold = true;
    }
    unsigned long long state = 0;
    device.state.reset();
    if (device.file.readNumber(state) == 0) device.state = state;
  }
}

}  // namespace tavrin
