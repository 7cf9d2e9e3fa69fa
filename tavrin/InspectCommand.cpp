#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "readers/ZtbinReader.h"
#include "readers/ZtjsonReader.h"
#include "tavrin/CommandError.h"
#include "tavrin/Commands.h"
#include "tavrin/inspect/InspectReport.h"

namespace tavrin {

namespace {

std::ifstream openFile(const std::string& name) {
  // The names are UTF-8 on every system.
  std::ifstream file(std::filesystem::path(std::u8string(name.begin(), name.end())),
                     std::ios::binary);
  if (!file) throw CommandError(kExitIncomplete, "cannot read " + name);
  return file;
}

[[noreturn]] void rejectFile(const std::string& name, const std::exception& fault) {
  std::fflush(stdout);
  throw CommandError(kExitIncomplete, name + ": " + printable(fault.what()));
}

/// The files of one run of the binary writer.
class BinaryRun {
 public:
  explicit BinaryRun(bool withPoints) : report_(stdout, withPoints) {}

  void add(const std::string& name) {
    std::ifstream file = openFile(name);
    try {
      reader_.readFile(file, [this](const ztbin::Point& point) { addPoint(point); });
    } catch (const FormatError& fault) {
      rejectFile(name, fault);
    }
    title_ += (title_.empty() ? "" : " ") + name;
  }

  void finish() {
    addSystem();
    for (const auto& [id, metric] : reader_.metrics()) placeOf(id);
    report_.finish(title_, "ticks");
  }

 private:
  /// Metrics are told of in the order in which they are first seen here.
  std::size_t placeOf(std::uint32_t id) {
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

  void addPoint(const ztbin::Point& point) {
    const ztbin::Descriptor& descriptor = reader_.descriptor(point.descriptor);
    report_.addValue({.metric = placeOf(point.metric),
                      .series = reader_.text(point.key),
                      .name = reader_.text(descriptor.name),
                      .time = point.timestamp,
                      .duration = numberText(point.duration),
                      .value = numberText(point.value)},
                     true);
  }

  void addSystem() {
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

  ztbin::ZtbinReader reader_;
  InspectReport report_;
  std::map<std::uint32_t, std::size_t> places_;
  std::string title_;
};

void inspectTrace(const std::string& name, bool withPoints) {
  std::ifstream file = openFile(name);
  InspectReport report(stdout, withPoints);
  try {
    const ztjson::ZtjsonReader reader(file);
    for (const auto& [key, text] : reader.system()) report.addSystem(key, text);
    for (const ztjson::Metric& metric : reader.metrics()) {
      report.addMetric({metric.name, metric.feature, metric.kind, metric.units, metric.states});
    }
    reader.readPoints([&](const ztjson::Point& point) {
      bool isNewPoint = true;
      for (const auto& [label, value] : point.values) {
        report.addValue({.metric = point.metric,
                         .series = point.series,
                         .name = label,
                         .time = point.start,
                         .duration = numberText(point.duration),
                         .value = numberText(value)},
                        isNewPoint);
        isNewPoint = false;
      }
    });
    report.finish(name, reader.isContinuous() ? "ticks" : "us");
  } catch (const FormatError& fault) {
    rejectFile(name, fault);
  }
}

}  // namespace

int runInspect(const Options& options) {
  const auto isBinary = [](const std::string& name) { return name.ends_with(".ztbin"); };
  for (const std::string& name : options.files) {
    if (!isBinary(name) && !name.ends_with(".ztjson")) {
      throw CommandError(kExitUsage, "cannot inspect " + name +
                                         ": its name ends with neither "
                                         ".ztbin nor .ztjson");
    }
  }
  BinaryRun run(options.points);
  for (const std::string& name : options.files) {
    if (isBinary(name)) run.add(name);
  }
  if (std::ranges::any_of(options.files, isBinary)) run.finish();
  for (const std::string& name : options.files) {
    if (!isBinary(name)) inspectTrace(name, options.points);
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw CommandError(kExitIncomplete, "cannot write to standard output");
  }
  return kExitDone;
}

}  // namespace tavrin
