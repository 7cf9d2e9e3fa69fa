#include "tavrin/inspect/BinaryRun.h"

#include <utility>

#include "readers/PlainText.h"
#include "tavrin/inspect/InputFile.h"

namespace tavrin {

void BinaryRun::add(const std::string& name) {
  std::ifstream file = openFile(name);
  try {
    reader_.readFile(file, [this](const ztbin::Point& point) { addPoint(point); });
  } catch (const FormatError& fault) {
    rejectFile(name, fault);
  }
  title_ += (title_.empty() ? "" : " ") + name;
}

void BinaryRun::finish() {
  addSystem();
  for (const auto& [id, metric] : reader_.metrics()) placeOf(id);
  report_.finish(title_, "ticks");
}

/// Metrics are told of in the order in which they are first seen here.
std::size_t BinaryRun::placeOf(std::uint32_t id) {
  const auto [place, isNew] = places_.try_emplace(id, places_.size());
  if (isNew) {
    const ztbin::Metric& metric = reader_.metrics().at(id);
    InspectReport::Metric text{.name = reader_.text(metric.name),
                               .feature = reader_.text(metric.feature),
                               .kind = reader_.text(metric.kind)};
    if (metric.hasQuantity) text.units = reader_.text(metric.units);
    for (const std::uint16_t value : metric.values) text.states.push_back(reader_.text(value));
    report_.addMetric(std::move(text));
  }
  return place->second;
}

void BinaryRun::addPoint(const ztbin::Point& point) {
  const ztbin::Descriptor& descriptor = reader_.descriptor(point.descriptor);
  report_.addValue({.metric = placeOf(point.metric),
                    .series = reader_.text(point.key),
                    .name = reader_.text(descriptor.name),
                    .time = point.timestamp,
                    .duration = numberText(point.duration),
                    .value = numberText(point.value)},
                   true);
}

void BinaryRun::addSystem() {
  const ztbin::System& system = reader_.system();
  const std::pair<const char*, std::string> facts[] = {
      {"Platform ID", std::to_string(system.platformId)},
      {"Platform Name", system.platformName},
      {"CPU Name", system.cpuName},
      {"CPU Native Name", system.cpuNativeName},
      {"PCH Name", system.pchName},
      {"Host Name", system.hostName},
      {"Num Packages", std::to_string(system.packages)},
      {"Num Modules", std::to_string(system.modules)},
      {"Num Cores", std::to_string(system.cores)},
      {"Num Threads", std::to_string(system.threads)},
      {"HFM Frequency MHz", numberText(system.hfmFrequency)},
      {"LFM Frequency MHz", numberText(system.lfmFrequency)},
      {"CPU Frequency MHz", numberText(system.cpuFrequency)},
      {"Bus Frequency MHz", numberText(system.busFrequency)},
      {"OS Name", system.osName},
      {"OS Type", system.osType},
      {"Collection Start Timestamp", std::to_string(system.startTimestamp)},
      {"Collection Stop Timestamp", std::to_string(system.stopTimestamp)},
      {"Collection Duration", numberText(system.durationSec)},
      {"Strings", std::to_string(reader_.stringCount())},
      {"Descriptors", std::to_string(reader_.descriptorCount())},
  };
  for (const auto& [key, text] : facts) report_.addSystem(key, text);
}

}  // namespace tavrin
