#include "writers/columns/PhmTextWriter.h"

#include "writers/common/CsvText.h"
#include "writers/common/TextLog.h"
#include "writers/host/PluginCapability.h"

PhmTextWriter::PhmTextWriter() : IntWriterV2("9d2aa443-e197-4628-9ed7-f7772a50828e", "_phm.csv") {
  addCapability(new pwr::WriterPluginCapability({}, "phm-csv",
                                                "Write over-time data to *_phm.csv file.", ".csv",
                                                false, {"BASE_phm.csv", "BASE_phm_metadata.csv"}));
}

PhmTextWriter::~PhmTextWriter() = default;

int PhmTextWriter::openOutput(const std::string& baseName, bool continuous) {
  if (IntWriterV2::openOutput(baseName, continuous) != 0) return 1;
  if (metadata_.open(baseName) != 0) return 1;
  try {
    // Without a title, the headings are the first line that is not empty.
    table_ = std::make_unique<ColumnStore>("", "n/a", baseName + "_phm.csv");
  } catch (const char*) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Failed to initialize buffer.\n");
    return 1;
  }
  table_->addColumn(timeColumnName());
  return 0;
}

int PhmTextWriter::closeOutput() {
  if (table_ == nullptr) return IntWriterV2::closeOutput();
  completeRow();
  file().print(*table_, false);
  table_.reset();
  const int tableStatus = IntWriterV2::closeOutput();
  const int metadataStatus = metadata_.write(series_, system_);
  seriesByMetric_.clear();
  series_.clear();
  isFull_ = false;
  system_ = nullptr;
  return tableStatus == 0 && metadataStatus == 0 ? 0 : 1;
}

int PhmTextWriter::writeMessage(const pwr::SystemMessage& message) {
  system_ = message.getSystemMetadata();
  return IntWriterV2::writeMessage(message);
}

int PhmTextWriter::writeMessage(const pwr::Metric& metric) {
  using Type = pwr::Metric::MetricType;
  double factor = 1.0;
  if (metric.getMetricType() == Type::SampledDelta && rateQuantityOf(metric, factor) == nullptr) {
    // Its values are what there is to show: no reason to miss a rate, as the base would.
    if (precedesStart(metric)) return 1;
    addValues(metric, TraceMode::Value, metric.getQuantity());
    return 0;
  }
  if (metric.getMetricType() == Type::SampledResidency) {
    selectResidencyViews(metric.getId(), ResidencyViews::Percentage);
  }
  return IntWriterV2::writeMessage(metric);
}

int PhmTextWriter::buildSampledTable(const pwr::Metric& metric, unsigned int /*view*/,
                                     TraceMode mode, const pwr::Quantity* quantity,
                                     const std::string& /*titleSuffix*/,
                                     const std::string& /*placeholder*/) {
  // The base offers the growth of a counter before its rate, which is what stays comparable when
  // the intervals differ.
  const bool isGrowth =
      metric.getMetricType() == pwr::Metric::MetricType::SampledDelta && mode == TraceMode::Value;
  if (!isGrowth) addValues(metric, mode, quantity);
  return 0;
}

int PhmTextWriter::buildTracedTable(const pwr::Metric& metric) {
  addValues(metric, TraceMode::Value, metric.getQuantity());
  return 0;
}

void PhmTextWriter::addValues(const pwr::Metric& metric, TraceMode mode,
                              const pwr::Quantity* quantity) {
  const pwr::Metric::DataPoint& data = metric.getData();
  if (data.elements.empty()) return;
  beginRow(data.timestamp);
  SeriesMap& known = seriesByMetric_[metric.getId()];
  for (std::size_t n = 0; n < data.elements.size(); ++n) {
    const pwr::DataElement& element = data.elements[n];
    const SeriesMap::Key key = SeriesMap::keyOf(element.getEntity(), element.getDescriptor());
    OverTimeSeries* const* const found = known.find(n, key);
    OverTimeSeries* series = found == nullptr ? nullptr : *found;
    if (found == nullptr) {
      series = addSeries(metric, element, mode, quantity);
      known.add(key, series);
    }
    if (series != nullptr) addValue(*series, metric, element);
  }
}

void PhmTextWriter::addValue(OverTimeSeries& series, const pwr::Metric& metric,
                             const pwr::DataElement& element) {
  const pwr::Data& value = *element.getValue();
  CellText cell;
  double number = 0.0;
  bool isNumber = true;
  if (series.mode != TraceMode::Value) {
    if (!computeTraceValue(number, metric, element, series.mode, clock())) return;
    cell.setNumber(number, cellMemory_);
  } else {
    if (!cell.setValue(value, cellMemory_)) return;
    isNumber = value.toReal(number) == 0;
    if (!isNumber && needsCsvQuotes(cell.text())) {
      cellMemory_ = csvText(cell.text());
      cell.setText(cellMemory_);
    }
  }
  ++series.samples;
  if (isNumber) series.addNumber(number);
  table_->setColumnData(cell, series.column);
}

OverTimeSeries* PhmTextWriter::addSeries(const pwr::Metric& metric, const pwr::DataElement& element,
                                         TraceMode mode, const pwr::Quantity* quantity) {
  if (isFull_) return nullptr;
  std::string name = metric.getName();
  if (const pwr::EntityHandle* const entity = element.getEntity()) {
    if (!entity->getName().empty()) name += " - " + entity->getName();
  }
  if (const pwr::DataDescriptor* const descriptor = element.getDescriptor()) {
    if (!descriptor->getName().empty()) name += " - " + descriptor->getName();
  }
  name += traceUnitSuffix(mode, quantity);
  const ColumnStore::Column column = table_->addColumn(csvText(name));
  if (column == ColumnStore::kNoColumn) {
    isFull_ = true;
    return nullptr;
  }
  return &series_.emplace_back(OverTimeSeries{.name = std::move(name),
                                              .column = column,
                                              .metric = metric.getDescription(),
                                              .entity = element.getEntity(),
                                              .descriptor = element.getDescriptor(),
                                              .quantity = quantity,
                                              .mode = mode});
}

void PhmTextWriter::beginRow(std::uint64_t timestamp) {
  if (rowIsOpen_ && timestamp == timeOfRow_) return;
  completeRow();
  rowIsOpen_ = true;
  timeOfRow_ = timestamp;
  table_->setColumnData(formatTime(timestamp), 0);
}

void PhmTextWriter::completeRow() {
  if (rowIsOpen_) table_->completeRow();
  rowIsOpen_ = false;
}
