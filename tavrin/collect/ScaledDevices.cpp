#include "tavrin/collect/ScaledDevices.h"

#include "hostcommon/NumberText.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr const char* kScaledDevices = "/sys/class/devfreq";
constexpr double kHertzPerMegahertz = 1e6;

/// Keeps damaged tables from making series without end.
constexpr std::size_t kMostScaledFrequencies = 256;

/// Takes a frequency and the time spent at it off the front of a table whose lines are
/// "*FREQUENCY: COUNT ... TIME": a star where the device is now, how often it went on to each other
/// frequency, ms. Returns false at the end.
bool takeTime(std::string_view& text, unsigned long long& hertz, unsigned long long& time) {
  while (!text.empty()) {
    std::string_view line = trimmed(takeLine(text));
    if (line.starts_with('*')) line.remove_prefix(1);
    if (!takeNumber(line, hertz) || !trimmed(line).starts_with(':')) continue;
    std::string_view last = line.substr(line.find_last_of(" \t:") + 1);
    if (takeNumber(last, time) && last.empty()) return true;
  }
  return false;
}

}  // namespace

ScaledDevices::ScaledDevices(const SysRoot& root) : root_(&root), times_(kTicksPerMillisecond) {
  devices_.follow(root);
  findDevices();
}

/// "400 MHz".
const pwr::DataDescriptor* ScaledDevices::descriptor(unsigned long long hertz) {
  const pwr::DataDescriptor*& known = descriptors_[hertz];
  if (known == nullptr) {
    std::string name;
    pwr::appendShortest(name, static_cast<double>(hertz) / kHertzPerMegahertz);
    known = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name + " MHz", ""));
  }
  return known;
}

std::optional<ScaledDevices::Device> ScaledDevices::open(const std::string& name) {
  const std::string folder = std::string(kScaledDevices) + "/" + name + "/";
  Device device;
  unsigned long long hertz = 0;
  unsigned long long time = 0;
  if (root_->readNumber(folder + "cur_freq", hertz) == 0) {
    device.frequency.emplace(root_->path(folder + "cur_freq"));
  }
  std::string text;
  root_->readText(folder + "trans_stat", text);
  std::string_view lines = text;
  TimeTable::Descriptors states;
  while (device.hertz.size() < kMostScaledFrequencies && takeTime(lines, hertz, time)) {
    device.hertz.push_back(hertz);
    states.push_back(descriptor(hertz));
  }
  if (!device.frequency && device.hertz.empty()) return std::nullopt;
  const pwr::EntityHandle* const entity = entities_.of(name);
  if (entity == nullptr) return std::nullopt;
  if (device.frequency) {
    if (frequency_ == nullptr) {
      frequency_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Frequency", ""));
    }
    device.frequencyRow = frequencies_.add(entity, frequency_);
  }
  if (device.hertz.empty()) return device;
  device.table.emplace(root_->path(folder + "trans_stat"));
  device.tableRow = times_.add(entity, states);
  return device;
}

void ScaledDevices::findDevices() {
  devices_.meet(root_->list(kScaledDevices),
                [this](const std::string& name) { return open(name); });
}

/// Returns false when the device is gone or another one.
bool ScaledDevices::read(Device& device) {
  unsigned long long hertz = 0;
  if (device.frequency) {
    if (device.frequency->readNumber(hertz) != 0) return false;
    frequencies_.note(device.frequencyRow, static_cast<double>(hertz) / kHertzPerMegahertz);
  }
  if (!device.table) return true;
  std::string_view text;
  if (device.table->readText(text) != 0) return false;
  device.times.clear();
  for (const unsigned long long expected : device.hertz) {
    unsigned long long time = 0;
    if (!takeTime(text, hertz, time) || hertz != expected) return false;
    device.times.push_back(time);
  }
  times_.note(device.tableRow, device.times);
  return true;
}

std::optional<pwr::MetricDescription> ScaledDevices::describeFrequencies() const {
  if (frequencies_.empty()) return std::nullopt;
  return pwr::MetricDescription{
      .name = "Device Frequency",
      .type = pwr::Metric::MetricType::SampledValue,
      .legacyType = pwr::RealTableClass::Value,
      .quantity = pwr::createQuantity(
          {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "MHz"}),
      .combinations = frequencies_.combinations(),
      .entityGroup = std::make_shared<const pwr::Field>("Device")};
}

std::optional<pwr::MetricDescription> ScaledDevices::describeTimes() const {
  if (times_.empty()) return std::nullopt;
  pwr::MetricDescription metric = times_.describe("Device");
  metric.name = "Device Frequency Time";
  metric.descriptorGroup = std::make_shared<const pwr::Field>("Frequency");
  return metric;
}

void ScaledDevices::sample(unsigned long long now, const pwr::MetricDescription* frequencies,
                           const pwr::MetricDescription* times, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  if (devices_.isDue(now)) findDevices();
  devices_.forEach([this](Device& device) { return read(device); });
  frequencies_.emit(frequencies, complete && frequencies != nullptr, interval_, batch);
  times_.emit(times, complete && times != nullptr, interval_, batch);
}

void ScaledDevices::remainder(const pwr::MetricDescription* times, SampleBatch& batch) const {
  if (times != nullptr) times_.remainder(times, batch);
}

}  // namespace tavrin
