#include "writers/columns/TraceTables.h"

#include "writers/host/Quantity.h"

namespace {

const std::string kNoEventValue = "n/a";

std::string titleOf(const pwr::Metric& metric, const pwr::EntityHandle* entity,
                    const std::string& suffix = {}) {
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

std::uint64_t idOf(const pwr::UniqueId* identified) {
  return identified == nullptr ? 0 : identified->getId();
}

}  // namespace

std::unique_ptr<TraceTables> TraceTables::open(const std::string& path, bool showsTicks) {
  std::unique_ptr<TraceTables> tables(new TraceTables(showsTicks));
  return tables->file_.open(path) ? std::move(tables) : nullptr;
}

int TraceTables::write(const pwr::SystemMessage& message) {
  durationTicks_.reset();
  return TraceRun::write(message);
}

int TraceTables::close() {
  for (auto& [key, views] : tables_) {
    bool isFirst = true;
    for (auto& [view, table] : views) {
      if (table == nullptr) continue;
      file_.print(table->getStore(), isFirst);
      isFirst = false;
      // Its temporary file may be as large as its part of the output.
      table.reset();
    }
  }
  return file_.close();
}

void TraceTables::addSample(const pwr::Metric& metric, const TraceView& view) {
  const pwr::Metric::DataPoint& data = metric.getData();
  PlaceIndex& places = placesOf(metric, view.number);
  const CellText& time = formatTime(data.timestamp, clock().microsecondsAt(data.timestamp));
  for (const pwr::DataElement& element : data.elements) {
    const Place place = places.find(element.getEntity(), element.getDescriptor(),
                                    [&] { return makeSampledPlace(metric, element, view); });
    if (place.table == nullptr) {
      file_.noteLostValues(1);
      continue;
    }
    CellText value;
    const bool hasValue = formatValue(value, metric, element, view.mode);
    beginRow(*place.table, time, element.getDuration());
    if (hasValue) place.table->setCell(place.column, value);
  }
  for (TraceTable* table : begunRows_) table->completeRow();
  begunRows_.clear();
}

/// Has the sample's row be there, with the duration of its latest element.
void TraceTables::beginRow(TraceTable& table, const CellText& time, std::uint64_t ticks) {
  if (!table.isRowBegun()) {
    table.beginRow(time, ticks, formatDuration(ticks));
    table.setConstantCells();
    begunRows_.push_back(&table);
  } else if (ticks != table.durationOfRow()) {
    table.setDuration(ticks, formatDuration(ticks));
  }
}

/// False when the cell stays empty.
bool TraceTables::formatValue(CellText& value, const pwr::Metric& metric,
                              const pwr::DataElement& element, TraceMode mode) {
  if (mode == TraceMode::Value) return value.setValue(*element.getValue(), valueMemory_);
  double number = 0.0;
  if (const char* const problem = computeTraceValue(number, metric, element, mode, clock())) {
    tell(problem, metric, element.getEntity(), element.getDescriptor());
    return false;
  }
  value.setNumber(number, valueMemory_);
  return true;
}

TraceTables::Place TraceTables::makeSampledPlace(const pwr::Metric& metric,
                                                 const pwr::DataElement& element,
                                                 const TraceView& view) {
  const std::uint64_t entity = idOf(element.getEntity());
  const std::string units = traceUnitSuffix(view.mode, view.quantity);
  const auto [place, isNew] =
      tables_[{entity != 0, metric.getId(), entity}].try_emplace(view.number);
  std::unique_ptr<TraceTable>& table = place->second;
  if (isNew) {
    table = file_.makeTable<TraceTable>(titleOf(metric, element.getEntity(), view.titleSuffix),
                                        view.placeholder, timeColumnName());
  }
  if (table == nullptr) return {nullptr, ColumnStore::kNoColumn};
  if (isNew) {
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
  return {table.get(), table->addColumn(idOf(element.getDescriptor()),
                                        columnNameOf(element.getDescriptor(), units))};
}

void TraceTables::addEvents(const pwr::Metric& metric) {
  const pwr::Metric::DataPoint& data = metric.getData();
  PlaceIndex& places = placesOf(metric, 0);
  const CellText& time = formatTime(data.timestamp, clock().millisecondsAt(data.timestamp));
  for (const pwr::DataElement& element : data.elements) {
    const Place place =
        places.find(element.getEntity(), nullptr, [&] { return makeTracedPlace(metric, element); });
    if (place.table == nullptr) {
      file_.noteLostValues(1);
      continue;
    }
    TraceTable& table = *place.table;
    table.beginRow(time);
    table.setConstantCells();
    tracedCells_.setCells(table, metric, element);
    table.setDuration(element.getDuration(), formatDuration(element.getDuration()));
    table.completeRow();
  }
}

TraceTables::Place TraceTables::makeTracedPlace(const pwr::Metric& metric,
                                                const pwr::DataElement& element) {
  auto table =
      file_.makeTable<TraceTable>(titleOf(metric, element.getEntity()), kNoEventValue,
                                  showsTicks() ? timeColumnName() : "Continuous Time (ms)");
  if (table == nullptr) return {nullptr, ColumnStore::kNoColumn};
  TracedCells::addColumns(*table, metric, element);
  std::unique_ptr<TraceTable>& kept =
      tables_[{false, metric.getId(), 0}][idOf(element.getEntity())];
  kept = std::move(table);
  return {kept.get(), ColumnStore::kNoColumn};
}

void TraceTables::noteMissingRate(const pwr::Metric& metric) {
  tell("WARNING: Rate conversion not specified. Instantaneous rate cannot be calculated.\n",
       metric);
}

/// The time of a message's elements, as ticks or as a number of the table's unit.
const CellText& TraceTables::formatTime(std::uint64_t timestamp, double time) {
  if (showsTicks()) {
    timeMemory_ = std::to_string(timestamp);
    time_.setText(timeMemory_);
  } else {
    time_.setNumber(time, timeMemory_);
  }
  return time_;
}
