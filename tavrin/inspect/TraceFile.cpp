#include "tavrin/inspect/TraceFile.h"

#include "formats/ztjson_format.h"
#include "readers/PlainText.h"
#include "readers/ZtjsonReader.h"
#include "tavrin/inspect/InputFile.h"
#include "tavrin/inspect/InspectReport.h"

namespace tavrin {

namespace {

class TraceRun {
 public:
  explicit TraceRun(bool withPoints) : report_(stdout, withPoints) {}

  void add(const std::string& name) {
    std::ifstream file = openFile(name);
    try {
      reader_.readFile(file, [this](const ztjson::Point& point) { addPoint(point); });
    } catch (const std::exception& fault) {
      rejectFile(name, fault);
    }
  }

  void finish(const std::string& title) {
    addMetrics();
    for (const auto& [key, text] : reader_.system()) {
      report_.addSystem(key, text);
      if (reader_.isContinuous() && key == ztjson::kStopTimestamp && text == "0") {
        report_.addNote("The collection was not over: files that came later would not be missed.");
      }
    }
    report_.finish(title, reader_.isContinuous() ? "ticks" : "us");
  }

 private:
  /// Tells the report of those that are new.
  void addMetrics() {
    for (; metrics_ < reader_.metrics().size(); ++metrics_) {
      const ztjson::Metric& metric = reader_.metrics()[metrics_];
      report_.addMetric({metric.name, metric.feature, metric.kind, metric.units, metric.states});
    }
  }

  void addPoint(const ztjson::Point& point) {
    addMetrics();
    bool isNewPoint = true;
    for (const auto& [label, value] : point.values) {
      report_.addValue({.metric = point.metric,
                        .series = point.series,
                        .name = label,
                        .time = point.start,
                        .duration = numberText(point.duration),
                        .value = numberText(value)},
                       isNewPoint);
      isNewPoint = false;
    }
  }

  ztjson::ZtjsonReader reader_;
  InspectReport report_;
  std::size_t metrics_ = 0;  ///< told of
};

}  // namespace

void inspectTrace(const FileRun& run, bool withPoints) {
  TraceRun trace(withPoints);
  for (const std::string& name : run) trace.add(name);
  trace.finish(titleOf(run));
}

}  // namespace tavrin
