#include "tavrin/collect/CoolingDevices.h"

#include <algorithm>
#include <string>
#include <utility>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/HardwareMonitors.h"

namespace tavrin {

namespace {

constexpr const char* kCoolingDevices = "/sys/class/thermal";
constexpr const char* kCoolingDevice = "cooling_device";

/// Devices of more states than this are shown as numbers, as nobody reads a column for each.
constexpr unsigned long long kMostCoolingStates = 64;

}  // namespace

CoolingDevices::CoolingDevices(const SysRoot& root) : root_(&root) {
  present_.follow(root);
  find();
  if (empty()) return;
  descriptor_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("State", ""));
}

/// Returns the place of the device, the same one for the same device.
std::optional<std::size_t> CoolingDevices::open(const std::string& name) {
  const std::string folder = std::string(kCoolingDevices) + "/" + name + "/";
  OpenFile file(root_->path(folder + "cur_state"));
  unsigned long long state = 0;
  if (file.readNumber(state) != 0) return std::nullopt;
  unsigned long long highest = state;
  root_->readNumber(folder + "max_state", highest);
  highestState_ = std::max(highestState_, highest);
  const std::string type = root_->readLine(folder + "type");
  const pwr::EntityHandle* const entity = entities_.of(sensorName("", type, name));
  if (entity == nullptr) return std::nullopt;
  auto device = std::ranges::find(devices_, entity, &Device::entity);
  if (device == devices_.end()) {
    devices_.push_back({.file = OpenFile(std::string()), .entity = entity});
    device = devices_.end() - 1;
  }
  device->file = std::move(file);
  return static_cast<std::size_t>(device - devices_.begin());
}

void CoolingDevices::find() {
  std::vector<std::string> names;
  for (const unsigned int number : root_->listNumbered(kCoolingDevices, kCoolingDevice)) {
    names.push_back(kCoolingDevice + std::to_string(number));
  }
  present_.forEach([this](std::size_t place) { return !devices_[place].isGone; });
  const auto open = [this](const std::string& name) { return this->open(name); };
  present_.meet(names, open);
  for (Device& device : devices_) device.isGone = true;
  present_.forEach([this](std::size_t place) {
    devices_[place].isGone = false;
    return true;
  });
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
  if (present_.isDue(now)) find();
  pwr::Metric::DataPoint* point = nullptr;
  for (Device& device : devices_) {
    if (complete && device.isMet && (!device.isTold || device.state != device.told)) {
      if (point == nullptr) point = &batch.add(metric, interval_.start());
      pwr::Data state = device.state ? pwr::Data(*device.state) : pwr::Data("unknown");
      point->elements.emplace_back(std::move(state), descriptor_, device.entity, 0);
      device.told = device.state;
      device.isTold = true;
    }
    read(device);
  }
}

void CoolingDevices::read(Device& device) {
  device.state.reset();
  device.isMet = true;
  if (device.isGone) return;
  unsigned long long state = 0;
  const int error = device.file.readNumber(state);
  if (error == 0) device.state = state;
  device.isGone = OpenFile::isGone(error);
  if (device.isGone) present_.wantLook();
}

}  // namespace tavrin
