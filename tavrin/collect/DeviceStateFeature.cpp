#include "tavrin/collect/DeviceStateFeature.h"

#include <algorithm>
#include <array>

#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr const char* kBuses = "/sys/bus";
constexpr const char* kDevicesOfBus = "/devices/";

/// "pci 0000:00:02.0" for "pci/devices/0000:00:02.0". Devices of several buses may have one name.
std::string deviceName(std::string key) {
  const std::string between = kDevicesOfBus;
  return key.replace(key.find(between), between.size(), " ");
}

}  // namespace

DeviceStateFeature::DeviceStateFeature()
    : Feature("device-dstate", "Device D-States", "Time that devices were active and suspended"),
      times_(kTicksPerMillisecond),
      statuses_({"active", "suspended", "resuming", "suspending", "error", "unsupported"}),
      pciStates_({"D0", "D1", "D2", "D3hot", "D3cold"}) {}

std::optional<DeviceStateFeature::Device> DeviceStateFeature::open(const std::string& key) {
  const std::string folder = std::string(kBuses) + "/" + key + "/";
  const std::string power = folder + "power/";
  const std::string status = root_->readLine(power + "runtime_status");
  if (status.empty() || status == "unsupported") return std::nullopt;
  // Only kernels for debugging have this file.
  if (root_->readLine(power + "runtime_enabled").starts_with("disabled")) return std::nullopt;
  Device device{.statusFile = OpenFile(root_->path(power + "runtime_status")),
                .activeTime = OpenFile(root_->path(power + "runtime_active_time")),
                .suspendedTime = OpenFile(root_->path(power + "runtime_suspended_time"))};
  unsigned long long time = 0;
  if (device.activeTime.readNumber(time) != 0) return std::nullopt;
  if (device.suspendedTime.readNumber(time) != 0) return std::nullopt;
  const pwr::EntityHandle* const entity = entities_.of(deviceName(key));
  if (entity == nullptr) return std::nullopt;
  if (timeStates_.empty()) {
    for (const char* const name : {"active", "suspended"}) {
      timeStates_.push_back(pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, "")));
    }
  }
  device.timeRow = times_.add(entity, timeStates_);
  device.statusRow = statuses_.add(entity);
  if (!root_->readLine(folder + "power_state").empty()) {
    device.pci.emplace(PciState{.file = OpenFile(root_->path(folder + "power_state")),
                                .row = pciStates_.add(entity)});
  }
  return device;
}

void DeviceStateFeature::findDevices() {
  std::vector<std::string> keys;
  for (const std::string& bus : root_->list(kBuses)) {
    const std::string devices = bus + kDevicesOfBus;
    for (const std::string& name : root_->list(std::string(kBuses).append("/").append(devices))) {
      keys.push_back(devices + name);
    }
  }
  devices_.meet(keys, [this](const std::string& key) { return open(key); });
}

/// Returns false when the device is gone.
bool DeviceStateFeature::read(Device& device, unsigned long long now) {
  std::array<unsigned long long, 2> counts{};
  const bool hasTimes = device.activeTime.readNumber(counts[0]) == 0 &&
                        device.suspendedTime.readNumber(counts[1]) == 0;
  if (hasTimes) times_.note(device.timeRow, counts);
  const bool wasActive = counts[0] != device.counts[0];
  const bool wasSuspended = counts[1] != device.counts[1];
  const bool isSteady = hasTimes && wasActive != wasSuspended && wasActive == device.wasActive;
  device.wasActive = wasActive;
  device.counts = counts;
  if ((!isSteady || now >= device.due) && !readStates(device, now)) return false;
  statuses_.note(device.statusRow, device.status);
  if (device.pci) pciStates_.note(device.pci->row, device.pci->state);
  return true;
}

/// The states change when the time in the other one begins to grow. Errors, and drivers that set
/// the D-state otherwise, are rare: for them the states are read every second. Returns false when
/// the device is gone.
bool DeviceStateFeature::readStates(Device& device, unsigned long long now) {
  // A little less than a second: passes are not quite regular.
  device.due = now + kTicksPerSecond / 100 * 95;
  std::string_view text;
  if (device.statusFile.readText(text) != 0) return false;
  device.status = trimmed(text);
  if (!device.pci) return true;
  const bool isRead = device.pci->file.readText(text) == 0;
  device.pci->state = isRead ? trimmed(text) : std::string_view();
  return true;
}

const pwr::MetricDescription* DeviceStateFeature::addStates(StateTable& states, const char* name,
                                                            unsigned int containerId) {
  if (states.empty()) return nullptr;
  pwr::MetricDescription metric = states.describe("Device");
  metric.containerId = containerId;
  metric.name = name;
  metric.featureTag = tag();
  return addMetric(pwr::createMetric(std::move(metric)));
}

std::string DeviceStateFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                      unsigned int containerId) {
  root_ = &root;
  devices_.follow(root);
  findDevices();
  if (times_.empty()) {
    return std::string("no devices below ") + kBuses + " have runtime power management";
  }
  pwr::MetricDescription metric = times_.describe("Device");
  metric.containerId = containerId;
  metric.name = "Device D-State";
  metric.featureTag = tag();
  timesMetric_ = addMetric(pwr::createMetric(std::move(metric)));
  statusMetric_ = addStates(statuses_, "Device Status", containerId);
  pciMetric_ = addStates(pciStates_, "PCI D-State", containerId);
  return {};
}

void DeviceStateFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  if (devices_.isDue(now)) findDevices();
  devices_.forEach([&](Device& device) { return read(device, now); });
  times_.emit(timesMetric_, complete, interval_, batch);
  statuses_.emit(statusMetric_, complete, interval_, batch);
  pciStates_.emit(pciMetric_, complete && pciMetric_ != nullptr, interval_, batch);
}

void DeviceStateFeature::remainder(SampleBatch& batch) const {
  Feature::remainder(batch);
  times_.remainder(timesMetric_, batch);
}

}  // namespace tavrin
