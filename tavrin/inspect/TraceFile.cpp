#include "tavrin/inspect/TraceFile.h"

#include "readers/PlainText.h"
#include "readers/ZtjsonReader.h"
#include "tavrin/inspect/InputFile.h"
#include "tavrin/inspect/InspectReport.h"

namespace tavrin {

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

}  // namespace tavrin
