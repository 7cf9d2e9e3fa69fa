#include "writers/columns/OverTimeMetadata.h"

#include "hostcommon/NumberText.h"
#include "writers/columns/ColumnStore.h"
#include "writers/common/CsvText.h"
#include "writers/common/MetricTraits.h"
#include "writers/host/Quantity.h"

namespace {

using Rows = std::vector<std::vector<std::string>>;

std::string fixed(double number) {
  std::string text;
  pwr::appendFixed(text, number, 2);
  return text;
}

std::string shortest(double number) {
  std::string text;
  pwr::appendShortest(text, number);
  return text;
}

std::vector<std::string> describe(const OverTimeSeries& series) {
  const bool hasNumbers = series.numbers != 0;
  const auto number = [&](double value) { return hasNumbers ? fixed(value) : "n/a"; };
  return {series.name,
          series.metric->name,
          std::to_string(series.metric->id),
          metricKindText(series.metric->type),
          series.quantity == nullptr ? "" : series.quantity->toQuantityString(),
          traceUnits(series.mode, series.quantity),
          series.entity == nullptr ? "" : series.entity->getName(),
          series.entity == nullptr ? "" : series.entity->getLevel(),
          series.descriptor == nullptr ? "" : series.descriptor->getName(),
          std::to_string(series.samples),
          number(series.minimum),
          number(series.maximum),
          number(series.sum / static_cast<double>(series.numbers))};
}

Rows describe(const pwr::SystemMetadata& system) {
  const pwr::TopTree& topology = system.getTopTree();
  Rows rows = {
      {"Host", system.getHostName()},
      {"Platform", system.getPlatformName()},
      {"Operating system", system.getOSName()},
      {"Operating system version", system.getOSVersion()},
      {"Architecture", system.getOSType()},
      {"Processor", system.getCPUNativeModelName(0)},
      {"Processor code name", system.getFormattedCPUCodeName()},
      {"Platform controller hubs", system.getFormattedPCHDeviceNamesStr("; ")},
      {"Packages", std::to_string(topology.getNumPackages())},
      {"Modules", std::to_string(topology.getNumModules())},
      {"Cores", std::to_string(topology.getNumCores())},
      {"Threads", std::to_string(topology.getNumThreads())},
      {"Collection start time", system.getCollectionStartTime()},
      {"Collection duration (s)", shortest(system.getCollectionDurationSec())},
      {"Collection start timestamp", std::to_string(system.getCollectionStartTimestamp())},
      {"Collection stop timestamp", std::to_string(system.getCollectionStopTimestamp())},
      {"Timestamp clock (MHz)", std::to_string(system.getTimestampClockFrequencyMHz())},
      {"TSC frequency (MHz)",
       shortest(static_cast<double>(system.getDescription().tscFrequencyMHz))},
      {"Product version", system.getProductVersion()},
      {"Driver version", system.getDriverVersion()},
      {"Command line", system.getCommandLine()},
  };
  for (const pwr::NameValuePair& info : system.getInfoValues()) {
    const std::string& meaning = info.getValueDesc();
    rows.push_back({info.getInfoName(), std::to_string(info.getValue()) +
                                            (meaning.empty() ? "" : " (" + meaning + ")")});
  }
  return rows;
}

}  // namespace

int OverTimeMetadata::write(const OverTimeSeriesList& series, const pwr::SystemMetadata* system) {
  Rows columns;
  for (const OverTimeSeries& one : series) columns.push_back(describe(one));
  printTable("Columns",
             {"Column Name", "Metric", "Metric id", "Kind", "Quantity", "Units", "Entity",
              "Entity level", "Descriptor", "Samples", "Minimum", "Maximum", "Mean"},
             columns);
  printTable("System", {"Name", "Value"}, system == nullptr ? Rows() : describe(*system));
  return file_.close();
}

void OverTimeMetadata::printTable(const std::string& title, const std::vector<std::string>& columns,
                                  const Rows& rows) {
  try {
    ColumnStore table(title, "n/a");
    for (const std::string& column : columns) table.addColumn(column);
    for (const std::vector<std::string>& row : rows) {
      for (unsigned int column = 0; column < row.size(); ++column) {
        table.setColumnData(csvText(row[column]), column);
      }
      table.completeRow();
    }
    file_.print(table, false);
  } catch (const char*) {
    file_.noteLostSample(title);
  }
}
