#include "tavrin/inspect/BinaryRun.h"

#include <algorithm>
#include <map>
#include <utility>

#include "readers/PlainText.h"
#include "readers/ZtbinReader.h"
#include "tavrin/inspect/InputFile.h"
#include "tavrin/inspect/InspectReport.h"

namespace tavrin {

namespace {

class BinaryRun {
 public:
  explicit BinaryRun(bool withPoints) : report_(stdout, withPoints) {}

  void add(const std::string& name);
  void finish(const std::string& title);

 private:
  std::size_t placeOf(std::uint32_t id);
  void addPoint(const ztbin::Point& point);
  void addSystem();
  void addSilentSeries(std::uint32_t id, const ztbin::Metric& metric);
  void addEnd();

  ztbin::ZtbinReader reader_;
  InspectReport report_;
  std::map<std::uint32_t, std::size_t> places_;
  std::uint64_t lastTime_ = 0;
};

void BinaryRun::add(const std::string& name) {
  std::ifstream file = openFile(name);
  try {
    reader_.readFile(file, [this](const ztbin::Point& point) { addPoint(point); });
  } catch (const std::exception& fault) {
    rejectFile(name, fault);
  }
}

void BinaryRun::finish(const std::string& title) {
  addSystem();
  for (const auto& [id, metric] : reader_.metrics()) addSilentSeries(id, metric);
  addEnd();
  report_.finish(title, "ticks");
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
  lastTime_ = std::max(lastTime_, point.timestamp);
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

void BinaryRun::addSilentSeries(std::uint32_t id, const ztbin::Metric& metric) {
  const std::string& name = reader_.text(metric.name);
  std::size_t silent = 0;
  for (const ztbin::Combination& combination : metric.combinations) {
    if (combination.descriptor == 0) continue;
    const std::string key =
        combination.entity == 0 ? name : name + "/" + reader_.text(combination.entity);
    const ztbin::Descriptor& descriptor = reader_.descriptor(combination.descriptor);
    if (!report_.hasValues(placeOf(id), key, reader_.text(descriptor.name))) ++silent;
  }
  if (silent == 0) return;
  report_.addFact(placeOf(id), "without a point: " + std::to_string(silent) + " of " +
                                   std::to_string(metric.combinations.size()) +
                                   " series described");
}

/// What the format cannot tell.
void BinaryRun::addEnd() {
  const std::uint64_t stop = reader_.system().stopTimestamp;
  if (stop == 0) {
    report_.addNote("The collection was not over: files that came later would not be missed.");
  } else if (stop >= lastTime_) {
    report_.addNote("The collection stopped " + std::to_string(stop - lastTime_) +
                    " ticks after the start of the last point.");
  }
  report_.addNote("Points are not counted in the files: those cut off at an end are not missed.");
}

}  // namespace

void inspectBinary(const FileRun& run, bool withPoints) {
  BinaryRun binary(withPoints);
  for (const std::string& name : run) binary.add(name);
  binary.finish(titleOf(run));
}

}  // namespace tavrin
