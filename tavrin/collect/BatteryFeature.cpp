#include "tavrin/collect/BatteryFeature.h"

#include <cmath>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/HardwareMonitors.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr const char* kSupplies = "/sys/class/power_supply";

struct BatteryValue {
  const char* direct;  // file with the value itself
  const char* factor;  // file of what makes it with the voltage; null for none
  double countsPerUnit;
  const char* metric;
  pwr::QuantityType type;
  const char* quantity;
  const char* units;
};

/// Files are in millionths.
constexpr std::array<BatteryValue, 3> kBatteryValues{{
    {"power_now", "current_now", 1e6, "Battery Power", pwr::QuantityType::Power, "Power", "W"},
    {"energy_now", "charge_now", 1e6, "Battery Energy", pwr::QuantityType::Other, "Energy", "Wh"},
    {"capacity", nullptr, 1.0, "Battery Charge", pwr::QuantityType::Percentage, "Charge", "%"},
}};

}  // namespace

BatteryFeature::BatteryFeature()
    : Feature("battery", "Batteries", "Power, energy, charge and status of batteries"),
      states_({"Charging", "Discharging", "Not charging", "Full"}) {
  static_assert(kBatteryValues.size() == kValues);
}

/// Empty where the file holds no number.
std::optional<OpenFile> BatteryFeature::openNumber(const std::string& path) const {
  OpenFile file(root_->path(path));
  long long number = 0;
  if (file.readNumber(number) != 0) return std::nullopt;
  return file;
}

std::optional<BatteryFeature::Battery> BatteryFeature::open(const std::string& name) {
  const std::string folder = std::string(kSupplies) + "/" + name + "/";
  const std::string type = root_->readLine(folder + "type");
  if (type != "Battery" && type != "UPS") return std::nullopt;
  Battery battery{.voltage = openNumber(folder + "voltage_now")};
  root_->readNumber(folder + "voltage_min_design", battery.nominalMicrovolts);
  bool isEmpty = true;
  for (std::size_t i = 0; i < kValues; ++i) {
    const BatteryValue& facts = kBatteryValues[i];
    Reading& reading = battery.readings[i];
    reading.direct = openNumber(folder + facts.direct);
    if (!reading.direct && facts.factor != nullptr) {
      reading.factor = openNumber(folder + facts.factor);
    }
    isEmpty = isEmpty && !reading.direct && !reading.factor;
  }
  if (!root_->readLine(folder + "status").empty()) {
    battery.status.emplace(root_->path(folder + "status"));
    isEmpty = false;
  }
  if (isEmpty) return std::nullopt;
  const pwr::EntityHandle* const entity =
      entities_.of(sensorName("", root_->readLine(folder + "model_name"), name));
  if (entity == nullptr) return std::nullopt;
  addRows(battery, entity);
  return battery;
}

void BatteryFeature::addRows(Battery& battery, const pwr::EntityHandle* entity) {
  for (std::size_t i = 0; i < kValues; ++i) {
    Reading& reading = battery.readings[i];
    if (!reading.direct && !reading.factor) continue;
    if (descriptors_[i] == nullptr) {
      descriptors_[i] =
          pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(kBatteryValues[i].quantity, ""));
    }
    reading.row = values_[i].add(entity, descriptors_[i]);
  }
  if (battery.status) battery.statusRow = states_.add(entity);
}

void BatteryFeature::findBatteries() {
  batteries_.meet(root_->list(kSupplies), [this](const std::string& name) { return open(name); });
}

/// Empty where it cannot be read.
std::optional<double> BatteryFeature::valueOf(Battery& battery, Value value) {
  Reading& reading = battery.readings[value];
  std::optional<OpenFile>& file = reading.direct ? reading.direct : reading.factor;
  long long count = 0;
  if (file->readNumber(count) != 0) return std::nullopt;
  double number = static_cast<double>(count) / kBatteryValues[value].countsPerUnit;
  if (!reading.direct) {
    long long microvolts = value == kEnergy ? battery.nominalMicrovolts : 0;
    if (microvolts <= 0 && (!battery.voltage || battery.voltage->readNumber(microvolts) != 0)) {
      return std::nullopt;
    }
    number *= static_cast<double>(microvolts) / 1e6;
  }
  return value == kPower ? std::abs(number) : number;
}

/// Returns false when nothing could be read: the battery is gone.
bool BatteryFeature::read(Battery& battery) {
  bool isThere = false;
  for (std::size_t i = 0; i < kValues; ++i) {
    if (!battery.readings[i].row) continue;
    const auto value = valueOf(battery, static_cast<Value>(i));
    if (value) values_[i].note(*battery.readings[i].row, *value);
    isThere = isThere || value;
  }
  std::string_view status;
  if (battery.status && battery.status->readText(status) == 0) {
    states_.note(battery.statusRow, trimmed(status));
    isThere = true;
  }
  return isThere;
}

void BatteryFeature::createMetrics(unsigned int containerId) {
  const std::string level = "Battery";
  for (std::size_t i = 0; i < kValues; ++i) {
    if (values_[i].empty()) continue;
    const BatteryValue& facts = kBatteryValues[i];
    valueMetrics_[i] = addMetric(
        pwr::createMetric({.containerId = containerId,
                           .name = facts.metric,
                           .featureTag = tag(),
                           .type = pwr::Metric::MetricType::SampledValue,
                           .legacyType = pwr::RealTableClass::Value,
                           .quantity = pwr::createQuantity(
                               {.type = facts.type, .name = facts.quantity, .units = facts.units}),
                           .combinations = values_[i].combinations(),
                           .entityGroup = std::make_shared<const pwr::Field>(level)}));
  }
  if (states_.empty()) return;
  pwr::MetricDescription metric = states_.describe(level);
  metric.containerId = containerId;
  metric.name = "Battery Status";
  metric.featureTag = tag();
  statusMetric_ = addMetric(pwr::createMetric(std::move(metric)));
}

std::string BatteryFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                  unsigned int containerId) {
  root_ = &root;
  batteries_.follow(root);
  findBatteries();
  createMetrics(containerId);
  if (!metrics().empty()) return {};
  return std::string("no batteries below ") + kSupplies;
}

void BatteryFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  if (batteries_.isDue(now)) findBatteries();
  batteries_.forEach([this](Battery& battery) { return read(battery); });
  for (std::size_t i = 0; i < kValues; ++i) {
    values_[i].emit(valueMetrics_[i], complete && valueMetrics_[i] != nullptr, interval_, batch);
  }
  states_.emit(statusMetric_, complete && statusMetric_ != nullptr, interval_, batch);
}

}  // namespace tavrin
