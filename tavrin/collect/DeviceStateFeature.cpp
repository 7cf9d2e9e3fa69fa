#include "tavrin/collect/DeviceStateFeature.h"

#include <algorithm>
#include <array>

#include "tavrin/collect/TextScan.h"

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
  Device device{.status = OpenFile(root_->path(power + "runtime_status")),
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
  std::string_view status;
  if (device.status.readText(status) != 0) return false;
  statuses_.note(device.statusRow, trimmed(status));
  std::array<unsigned long long, 2> counts{};
  if (device.activeTime.readNumber(counts[0]) == 0 &&
      device.suspendedTime.readNumber(counts[1]) == 0) {
    times_.note(device.timeRow, counts);
  }
  const bool isSteady = trimmed(status) == device.lastStatus &&
                        (counts[0] == device.counts[0] || counts[1] == device.counts[1]);
  device.lastStatus = trimmed(status);
  device.counts = counts;
  if (device.pci) readPciState(*device.pci, isSteady, now);
  return true;
}

/// The D-state changes with the status, of which time in the other state would tell. Drivers that
/// set it otherwise are rare: for them it is read every second.
void DeviceStateFeature::readPciState(PciState& pci, bool isSteady, unsigned long long now) {
  if (!isSteady || now >= pci.due) {
    std::string_view text;
    pci.state = pci.file.readText(text) == 0 ? trimmed(text) : std::string_view();
    pci.due = now + kTicksPerSecond / 100 * 95;
  }
  pciStates_.note(pci.row, pci.state);
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
