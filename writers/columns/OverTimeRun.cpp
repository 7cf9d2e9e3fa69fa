#include "writers/columns/OverTimeRun.h"

#include "hostcommon/NumberText.h"
#include "writers/columns/TableFile.h"
#include "writers/common/CsvText.h"
#include "writers/common/TextLog.h"
#include "writers/host/Quantity.h"

namespace {

constexpr std::size_t kMostSeries = 65535;

/// One view of each metric is shown: of a residency its percentage, of a counter its rate, which
/// stays comparable when the intervals differ, and its growth only where the rate is not known.
bool isShown(const pwr::Metric& metric, TraceMode mode) {
  double factor = 1.0;
  switch (metric.getMetricType()) {
    case pwr::Metric::MetricType::SampledResidency:
      return mode == TraceMode::Percentage;
    case pwr::Metric::MetricType::SampledDelta:
      return mode == TraceMode::Rate || rateQuantityOf(metric, factor) == nullptr;
    default:
      return true;
  }
}

}  // namespace

std::unique_ptr<OverTimeRun> OverTimeRun::open(const std::string& baseName, bool showsTicks) {
  const std::string start = baseName + "_phm";
  try {
    std::unique_ptr<OverTimeRun> run(new OverTimeRun(showsTicks));
    const bool isOpen = createOutput(run->file_, start + ".csv") &&
                        run->events_.open(start + "_events.csv", run->timeColumnName(),
                                          showsTicks ? "Duration (ticks)" : "Duration (usec)") &&
                        run->metadata_.open(start + "_metadata.csv");
    return isOpen ? std::move(run) : nullptr;
  } catch (const char*) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Failed to initialize buffer.\n");
    return nullptr;
  }
}

int OverTimeRun::write(const pwr::SystemMessage& message) {
  system_ = message.getSystemMetadata();
  return TraceRun::write(message);
}

int OverTimeRun::close() {
  const std::vector<std::string> headings = headingsOf(series_, timeColumnName(), names_);
  file_.write(csvLine(headings));
  if (table_.print(file_, series_.size()) != 0) file_.noteLoss();
  const int tableStatus = file_.close();
  const int eventStatus = events_.close();
  const int metadataStatus =
      metadata_.write({series_, headings}, events_.series(), names_, system_);
  return tableStatus + eventStatus + metadataStatus == 0 ? 0 : 1;
}

void OverTimeRun::addSample(const pwr::Metric& metric, const TraceView& view) {
  const pwr::Metric::DataPoint& data = metric.getData();
  if (data.elements.empty() || !isShown(metric, view.mode)) return;
  beginRow(data.timestamp);
  SeriesIndex<std::uint32_t>& columns = columnsByMetric_[metric.getId()];
  for (const pwr::DataElement& element : data.elements) {
    const std::uint32_t column = columns.find(element.getEntity(), element.getDescriptor(),
                                              [&] { return addColumn(metric, element, view); });
    if (column != 0 && formatValue(series_[column - 1], metric, element)) {
      table_.setCell(column, value_);
    }
  }
}

/// Samples of one time that come one after the other share a row.
void OverTimeRun::beginRow(std::uint64_t timestamp) {
  if (timeOfRow_ == timestamp) return;
  timeOfRow_ = timestamp;
  formatTime(time_, timestamp);
  table_.beginRow(time_);
}

std::uint32_t OverTimeRun::addColumn(const pwr::Metric& metric, const pwr::DataElement& element,
                                     const TraceView& view) {
  if (series_.size() < kMostSeries) {
    series_.push_back({.metric = metric.getDescription(),
                       .entity = element.getEntity(),
                       .descriptor = element.getDescriptor(),
                       .quantity = view.quantity,
                       .mode = view.mode});
    return static_cast<std::uint32_t>(series_.size());
  }
  if (!isFull_) {
    PW_LOG(kTextLog, PW_LOG_WARNING,
           "WARNING: The table %s has %zu columns and can take no more: further series are left "
           "out, the first of them of %s\n",
           file_.getPath().c_str(), kMostSeries + 1, metric.getName().c_str());
  }
  isFull_ = true;
  return 0;
}

/// Sets `value_` to the cell of an element. False when it stays empty.
bool OverTimeRun::formatValue(OverTimeSeries& series, const pwr::Metric& metric,
                              const pwr::DataElement& element) {
  const pwr::Data& value = *element.getValue();
  if (series.mode == TraceMode::Value) {
    if (!series.take(value, value_)) return false;
    if (!value.isNumeric() && needsCsvQuotes(value_)) value_ = csvText(value_);
    return true;
  }
  double number = 0.0;
  if (const char* const problem =
          computeTraceValue(number, metric, element, series.mode, clock())) {
    tell(problem, metric, element.getEntity(), element.getDescriptor());
    return false;
  }
  return series.take(pwr::Data(number), value_);
}

void OverTimeRun::addEvents(const pwr::Metric& metric) {
  const pwr::Metric::DataPoint& data = metric.getData();
  formatTime(time_, data.timestamp);
  timeOfRow_.reset();
  for (const pwr::DataElement& element : data.elements) {
    duration_.clear();
    if (!pwr::isRate(metric.getQuantity())) formatDuration(duration_, element.getDuration());
    events_.add(metric, element, time_, duration_);
  }
}

void OverTimeRun::formatTime(std::string& text, std::uint64_t timestamp) const {
  text.clear();
  if (showsTicks()) {
    text = std::to_string(timestamp);
  } else {
    pwr::appendShortest(text, clock().microsecondsAt(timestamp));
  }
}

/// In the unit of the times.
void OverTimeRun::formatDuration(std::string& text, std::uint64_t ticks) const {
  text.clear();
  if (showsTicks()) {
    text = std::to_string(ticks);
  } else {
    pwr::appendShortest(text, static_cast<double>(ticks) / clock().ticksPerMicrosecond);
  }
}
