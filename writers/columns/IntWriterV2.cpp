#include "writers/columns/IntWriterV2.h"

#include "writers/common/TextLog.h"
#include "writers/host/HostFunctions.h"
#include "writers/host/PluginCapability.h"
#include "writers/host/Quantity.h"

namespace {

const std::string kNothing;
const std::string kNotAvailable = "n/a";

std::string titleOf(const pwr::Metric& metric, const pwr::EntityHandle* entity,
                    const std::string& suffix) {
  std::string title = metric.getName();
  if (entity != nullptr && !entity->getName().empty()) title += " - " + entity->getName();
  return title + suffix;
}

/// The name of a value column. A value without descriptor has only a unit.
std::string columnNameOf(const pwr::DataDescriptor* descriptor, const std::string& unitSuffix) {
  std::string name;
  std::string text;
  if (descriptor != nullptr) {
    name = descriptor->getName();
    for (const auto& [attribute, value] : descriptor->getAttributes()) {
      if (value.toFormattedString(text) == 0) name += " (" + text + ")";
    }
  }
  return name + unitSuffix;
}

std::uint64_t idOf(const pwr::DataDescriptor* descriptor) {
  return descriptor == nullptr ? 0 : descriptor->getId();
}

}  // namespace

IntWriterV2::IntWriterV2() : IntWriterV2("b1e44565-005f-46ea-9fbb-34ea6bc01203", "_trace.csv") {
  addCapability(new pwr::WriterPluginCapability(
      {}, "int", "Write data trace file (*_trace.csv) in CSV format", "_trace.csv", false));
}

IntWriterV2::IntWriterV2(const std::string& guid, const std::string& extension)
    : WriterPlugin(guid),
      showsTicks_(pwr::check_env("PW_DO_TIMELINE_TSC")),
      showsResidencyTicks_(pwr::check_env("PW_DO_TIMELINE_RESIDENCY_TICKS")),
      file_(extension) {}

IntWriterV2::~IntWriterV2() = default;

int IntWriterV2::openOutput(const std::string& baseName, bool /*continuous*/) {
  return file_.open(baseName);
}

int IntWriterV2::closeOutput() {
  if (file_.isOpen()) {
    for (auto& [key, views] : tables_) {
      bool isFirst = true;
      for (auto& [view, table] : views) {
        file_.print(table->getStore(), isFirst);
        isFirst = false;
        // Its temporary file may be as large as its part of the output.
        table.reset();
      }
    }
  }
  places_.clear();
  latestPlaces_ = nullptr;
  tables_.clear();
  return file_.close();
}

int IntWriterV2::writeMessage(const pwr::SystemMessage& message) {
  const pwr::SystemMetadata& system = *message.getSystemMetadata();
  clock_ = {.ticksPerMicrosecond = static_cast<double>(system.getTimestampClockFrequencyMHz()),
            .start = system.getCollectionStartTimestamp()};
  durationTicks_.reset();
  if (system.getTimestampClockFrequencyMHz() != 0) return 0;
  PW_LOG(kTextLog, PW_LOG_WARNING,
         "WARNING: Frequency of timestamps is zero. Please check the clock frequency in the system "
         "metadata.\n");
  return 1;
}

int IntWriterV2::writeMessage(const pwr::Metric& metric) {
  if (precedesStart(metric)) return 1;
  switch (metric.getMetricType()) {
    case pwr::Metric::MetricType::SampledDelta:
      buildCounterTables(metric);
      break;
    case pwr::Metric::MetricType::SampledResidency:
      buildResidencyTables(metric);
      break;
    case pwr::Metric::MetricType::TracedValueTransition:
    case pwr::Metric::MetricType::TracedEvent:
      buildTracedTable(metric);
      break;
    default:
      buildSampledTable(metric, kPlainView, TraceMode::Value, metric.getQuantity(), kNothing,
                        kNotAvailable);
  }
  return 0;
}

bool IntWriterV2::precedesStart(const pwr::Metric& metric) const {
  if (metric.getData().timestamp >= clock_.start) return false;
  PW_LOG(kTextLog, PW_LOG_WARNING,
         "WARNING: Timestamp of the sample is less than the global start timestamp.\n");
  return true;
}

void IntWriterV2::buildCounterTables(const pwr::Metric& metric) {
  static const std::string suffix = " : Instantaneous rate";
  buildSampledTable(metric, kPlainView, TraceMode::Value, metric.getQuantity(), kNothing,
                    kNotAvailable);
  double factor = 1.0;
  const pwr::Quantity* const rate = rateQuantityOf(metric, factor);
  if (rate == nullptr) {
    PW_LOG(kTextLog, PW_LOG_WARNING,
           "WARNING: Rate conversion not specified. Instantaneous rate cannot be calculated.\n");
    return;
  }
  buildSampledTable(metric, kDerivedView, TraceMode::Rate, rate, suffix, kNotAvailable);
}

void IntWriterV2::buildResidencyTables(const pwr::Metric& metric) {
  static const std::string timeSuffix = " : Residency Time";
  static const std::string percentageSuffix = " : Residency Percentage";
  static const std::string noTime = "0";
  static const std::string noPercentage = "0.00";
  const auto selected = residencySelection_.find(metric.getId());
  const ResidencyViews views =
      selected == residencySelection_.end() ? ResidencyViews::Both : selected->second;
  const pwr::Quantity* const quantity = metric.getQuantity();
  if (views == ResidencyViews::Both || views == ResidencyViews::Time) {
    if (showsResidencyTicks_) {
      buildSampledTable(metric, kPlainView, TraceMode::Value, quantity, kNothing, noTime);
    } else {
      buildSampledTable(metric, kDerivedView, TraceMode::Time, quantity, timeSuffix, noTime);
    }
  }
  if (views == ResidencyViews::Both || views == ResidencyViews::Percentage) {
    buildSampledTable(metric, kPercentageView, TraceMode::Percentage, quantity, percentageSuffix,
                      noPercentage);
  }
}

int IntWriterV2::buildSampledTable(const pwr::Metric& metric, unsigned int view, TraceMode mode,
                                   const pwr::Quantity* quantity, const std::string& titleSuffix,
                                   const std::string& placeholder) {
  const pwr::Metric::DataPoint& data = metric.getData();
  PlaceMap& places = placesOf(metric, view);
  const CellText& time = formatTime(data.timestamp);
  std::size_t position = 0;
  for (const pwr::DataElement& element : data.elements) {
    const PlaceMap::Key key = PlaceMap::keyOf(element.getEntity(), element.getDescriptor());
    const Place* place = places.find(position++, key);
    if (place == nullptr) {
      place =
          addSampledPlace(key, metric, element, {view, mode, quantity, titleSuffix, placeholder});
      if (place == nullptr) continue;
    }
    TraceTable& table = *place->table;
    CellText value;
    const bool hasValue = formatTraceValue(value, valueMemory_, metric, element, mode, clock_);
    const std::uint64_t ticks = element.getDuration();
    if (!table.isRowBegun()) {
      table.beginRow(time, ticks, formatDuration(ticks));
      table.setConstantCells();
      begunRows_.push_back(&table);
    } else if (ticks != table.durationOfRow()) {
      table.setDuration(ticks, formatDuration(ticks));
    }
    if (hasValue) table.setCell(place->column, value);
  }
  for (TraceTable* table : begunRows_) table->completeRow();
  begunRows_.clear();
  return 0;
}

IntWriterV2::Place* IntWriterV2::addSampledPlace(const PlaceMap::Key& key,
                                                 const pwr::Metric& metric,
                                                 const pwr::DataElement& element,
                                                 const ViewDescription& view) {
  const TableKey tableKey{key.entity != 0, metric.getId(), key.entity};
  const std::string units = traceUnitSuffix(view.mode, view.quantity);
  TraceTable* table = findTable(tableKey, view.number);
  if (table == nullptr) {
    table = addTable(tableKey, view.number, titleOf(metric, element.getEntity(), view.titleSuffix),
                     view.placeholder, timeColumnName());
    if (table == nullptr) return nullptr;
    table->addDurationColumn();
    if (metric.getTraceSampleEntityAttr() && element.getEntity() != nullptr) {
      table->addConstantCells(element.getEntity()->getAttributes());
    }
    for (const auto& combination : metric.getEntityDescriptorCombinations()) {
      const std::uint64_t id = idOf(combination.descriptor);
      if (table->findColumn(id) != ColumnStore::kNoColumn) continue;
      table->addColumn(id, columnNameOf(combination.descriptor, units));
    }
  }
  // A pair that the metric did not announce gets a column of its own all the same.
  const ColumnStore::Column column =
      table->addColumn(key.descriptor, columnNameOf(element.getDescriptor(), units));
  return placesOf(metric, view.number).add(key, {table, column});
}

int IntWriterV2::buildTracedTable(const pwr::Metric& metric) {
  const pwr::Metric::DataPoint& data = metric.getData();
  PlaceMap& places = placesOf(metric, kPlainView);
  if (showsTicks_) {
    formatTime(data.timestamp);
  } else {
    time_.setNumber(clock_.millisecondsAt(data.timestamp), timeMemory_);
  }
  for (std::size_t n = 0; n < data.elements.size(); ++n) {
    const pwr::DataElement& element = data.elements[n];
    const PlaceMap::Key key = PlaceMap::keyOf(element.getEntity(), nullptr);
    const Place* place = places.find(n, key);
    if (place == nullptr) place = addTracedPlace(key, metric, element);
    if (place == nullptr) continue;
    TraceTable& table = *place->table;
    table.beginRow(time_);
    table.setConstantCells();
    tracedCells_.setCells(table, metric, element);
    table.setDuration(element.getDuration(), formatDuration(element.getDuration()));
    table.completeRow();
  }
  return 0;
}

IntWriterV2::Place* IntWriterV2::addTracedPlace(const PlaceMap::Key& key, const pwr::Metric& metric,
                                                const pwr::DataElement& element) {
  TraceTable* const table = addTable({false, metric.getId(), 0}, key.entity,
                                     titleOf(metric, element.getEntity(), kNothing), kNotAvailable,
                                     showsTicks_ ? timeColumnName() : "Continuous Time (ms)");
  if (table == nullptr) return nullptr;
  TracedCells::addColumns(*table, metric, element);
  return placesOf(metric, kPlainView).add(key, {table, ColumnStore::kNoColumn});
}

TraceTable* IntWriterV2::findTable(const TableKey& key, std::uint64_t view) const {
  const auto views = tables_.find(key);
  if (views == tables_.end()) return nullptr;
  const auto found = views->second.find(view);
  return found == views->second.end() ? nullptr : found->second.get();
}

TraceTable* IntWriterV2::addTable(const TableKey& key, std::uint64_t view, const std::string& title,
                                  const std::string& placeholder, const std::string& timeColumn) {
  try {
    auto table = std::make_unique<TraceTable>(title, placeholder, timeColumn);
    return tables_[key].emplace(view, std::move(table)).first->second.get();
  } catch (const char*) {
    file_.noteLostSample(title);
    return nullptr;
  }
}

const CellText& IntWriterV2::formatTicks(std::uint64_t timestamp) {
  timeMemory_ = std::to_string(timestamp);
  time_.setText(timeMemory_);
  return time_;
}

std::string IntWriterV2::timeColumnName() const {
  return showsTicks_ ? "Timestamp" : "Continuous Time (usec)";
}
