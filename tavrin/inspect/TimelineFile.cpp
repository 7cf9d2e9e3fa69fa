#include "tavrin/inspect/TimelineFile.h"

#include <cstdio>
#include <map>
#include <unordered_map>

#include "readers/PwrText.h"
#include "tavrin/inspect/InputFile.h"
#include "tavrin/inspect/InspectReport.h"

namespace tavrin {

namespace {

using pwrfile::Info;
using pwrfile::InfoType;

/// Gathers what a timeline file says for the report.
class TimelineSummary : public pwrfile::PwrSink {
 public:
  TimelineSummary(const pwrfile::PwrReader& reader, InspectReport& report)
      : infos_(reader.infos()), report_(report) {}

  void system(const pwrfile::System& system) override;
  void info(const Info& info) override { ++counts_[info.type]; }
  void endOfMetadata() override;
  void data(const pwrfile::DataRecord& record) override;
  /// What the report tells last. After the whole file has been read.
  void finish(std::uint16_t version);

 private:
  InspectReport::Metric describe(const Info& metric) const;
  void addLifetimes(InfoType type);

  const pwrfile::PwrInfoTable& infos_;
  InspectReport& report_;
  std::map<InfoType, std::uint64_t> counts_;
  std::unordered_map<std::uint32_t, std::size_t> places_;  ///< of the metrics in the report
};

void TimelineSummary::system(const pwrfile::System& system) {
  const std::pair<const char*, std::string> facts[] = {
      {"Host Name", system.hostName},
      {"Platform Name", system.platformName},
      {"OS Name", system.osName},
      {"OS Version", pwrfile::versionText(system)},
      {"Architecture", pwrfile::architectureName(system.architecture)},
      {"Collector Version", pwrfile::collectorText(system)},
      {"TSC Frequency Hz", std::to_string(system.tscHz)},
      {"CPU Frequency MHz", std::to_string(system.cpuMhz)},
      {"Address Bits", std::to_string(system.addressBits)},
      {"CPU ID", pwrfile::cpuIdText(system)},
      {"CPUs", std::to_string(system.cpus.size())},
      {"Package/Core/Thread", pwrfile::cpusText(system)},
      {"Collection Start Ticks", std::to_string(system.startTsc)},
      {"Collection Start Time", pwrfile::startText(system)},
  };
  for (const auto& [key, text] : facts) report_.addSystem(key, text);
}

InspectReport::Metric TimelineSummary::describe(const Info& metric) const {
  InspectReport::Metric text{.name = metric.longName, .feature = metric.shortName, .kind = "-"};
  if (const Info* const kind = infos_.classOf(metric); kind != nullptr) text.kind = kind->longName;
  const Info* const quantity = infos_.relationOf(metric, InfoType::QuantityOf);
  if (quantity != nullptr) {
    text.units = quantity->shortName;
    text.facts.push_back("quantity: " + quantity->longName);
  }
  const Info* const tab = infos_.relationOf(metric, InfoType::TabGroupOf);
  const Info* const timeline = infos_.relationOf(metric, InfoType::TimelineGroupOf);
  text.facts.push_back("shown in: " + (tab == nullptr ? "-" : tab->longName) + " / " +
                       (timeline == nullptr ? "-" : timeline->longName));
  return text;
}

void TimelineSummary::endOfMetadata() {
  std::vector<InspectReport::Metric> metrics;
  std::unordered_map<std::uint32_t, std::string> fields;
  for (const Info& info : infos_.all()) {
    if (info.type == InfoType::Metric) {
      places_.emplace(info.id, metrics.size());
      metrics.push_back(describe(info));
    } else if (info.type == InfoType::State) {
      metrics[places_.at(info.parent)].states.push_back(info.longName);
    } else if (info.type == InfoType::FieldOf) {
      std::string& names = fields[info.parent];
      names += (names.empty() ? "fields: " : ", ") + infos_.find(info.value)->longName;
    }
  }
  for (const auto& [id, names] : fields) metrics[places_.at(id)].facts.push_back(names);
  for (InspectReport::Metric& metric : metrics) report_.addMetric(std::move(metric));
}

void TimelineSummary::data(const pwrfile::DataRecord& record) {
  InspectReport::Point point{.metric = places_.at(record.metric.id),
                             .series = "-",
                             .name = "-",
                             .time = record.tsc,
                             .duration = {},
                             .value = {}};
  for (const pwrfile::Attribute& attribute : record.attributes) {
    if (attribute.type == pwrfile::AttributeType::Entity) {
      point.series = infos_.find(attribute.value)->longName;
    } else if (attribute.type == pwrfile::AttributeType::Field) {
      point.name = infos_.find(attribute.value)->longName;
    }
  }
  report_.addValue(point, true);
}

void TimelineSummary::addLifetimes(InfoType type) {
  const std::string title = type == InfoType::Process ? "Processes: " : "Threads: ";
  const auto count = counts_.find(type);
  report_.addNote(title + std::to_string(count == counts_.end() ? 0 : count->second));
  for (const Info& info : infos_.all()) {
    if (info.type != type) continue;
    std::string line = "  " + std::to_string(info.value) + " " + info.longName;
    if (type == InfoType::Thread && info.hasParent()) {
      line += " of " + std::to_string(infos_.find(info.parent)->value);
    }
    if (!info.description.empty()) line += ", " + info.description;
    report_.addNote(line);
  }
}

void TimelineSummary::finish(std::uint16_t version) {
  addLifetimes(InfoType::Process);
  addLifetimes(InfoType::Thread);
  std::string line = "Info records: " + std::to_string(infos_.all().size());
  for (const auto& [type, count] : counts_) {
    line += ", " + std::string(pwrfile::infoTypeName(type)) + " " + std::to_string(count);
  }
  report_.addNote(line);
  report_.addNote("Record version: " + std::to_string(version));
}

}  // namespace

void inspectTimeline(const std::string& name, bool withRecords) {
  std::ifstream file = openFile(name);
  pwrfile::PwrReader reader;
  try {
    if (withRecords) {
      pwrfile::PwrText text(
          reader, [](const std::string& line) { std::fputs((line + "\n").c_str(), stdout); });
      reader.readFile(file, text);
      return;
    }
    InspectReport report(stdout, false);
    TimelineSummary summary(reader, report);
    reader.readFile(file, summary);
    summary.finish(reader.version());
    report.finish(name, "ticks");
  } catch (const FormatError& fault) {
    rejectFile(name, fault);
  }
}

}  // namespace tavrin
