#include "writers/columns/RawWriterV2.h"

#include "writers/columns/TraceValue.h"
#include "writers/host/PluginCapability.h"

RawWriterV2::RawWriterV2() : WriterPlugin("2e820d9e-2f9e-4cdb-a81d-056273a7a391"), file_(".txt") {
  addCapability(new pwr::WriterPluginCapability({}, "raw", "Print raw text data to *.txt file",
                                                ".txt", false));
}

RawWriterV2::~RawWriterV2() = default;

int RawWriterV2::openOutput(const std::string& baseName, bool /*continuous*/) {
  return file_.open(baseName);
}

int RawWriterV2::closeOutput() {
  for (auto& table : tables_) {
    if (file_.isOpen()) file_.print(table->store, false);
    // Its temporary file may be as large as its part of the output.
    table.reset();
  }
  tables_.clear();
  tableByMetric_.clear();
  return file_.close();
}

int RawWriterV2::writeMessage(const pwr::MetricContainerInfoMessage& /*message*/) {
  return 0;
}

int RawWriterV2::writeMessage(const pwr::SystemMessage& /*message*/) {
  return 0;
}

int RawWriterV2::writeMessage(const pwr::TextMessage& message) {
  return file_.print(message.getMessage() + "\n\n");
}

int RawWriterV2::writeMessage(const pwr::Metric& metric) {
  Table* const table = tableOf(metric);
  if (table == nullptr) return 1;
  const pwr::Metric::DataPoint& data = metric.getData();
  pwr::Data(data.timestamp).toFormattedString(cell_);
  table->store.setColumnData(cell_, 0);
  for (std::size_t n = 0; n < data.elements.size(); ++n) {
    const pwr::DataElement& element = data.elements[n];
    const ColumnStore::Column* column = table->columns.find(
        n, ElementMap<ColumnStore::Column>::keyOf(element.getEntity(), element.getDescriptor()));
    // A pair that the metric did not announce gets a column at the end.
    if (column == nullptr) {
      column = addColumn(*table, metric, element.getEntity(), element.getDescriptor());
    }
    if (element.getValue()->toFormattedString(cell_) == 0) {
      table->store.setColumnData(cell_, *column);
    }
  }
  table->store.completeRow();
  return 0;
}

RawWriterV2::Table* RawWriterV2::tableOf(const pwr::Metric& metric) {
  const auto found = tableByMetric_.find(metric.getId());
  if (found != tableByMetric_.end()) return found->second;
  Table* table = nullptr;
  try {
    table = tables_.emplace_back(std::make_unique<Table>(metric.getName(), "n/a")).get();
  } catch (const char*) {
    file_.noteLostSample(metric.getName());
    return nullptr;
  }
  tableByMetric_.emplace(metric.getId(), table);
  table->store.addColumn("Timestamp");
  for (const auto& [entity, descriptor] : metric.getEntityDescriptorCombinations()) {
    addColumn(*table, metric, entity, descriptor);
  }
  return table;
}

ColumnStore::Column* RawWriterV2::addColumn(Table& table, const pwr::Metric& metric,
                                            const pwr::EntityHandle* entity,
                                            const pwr::DataDescriptor* descriptor) {
  ColumnStore::Column* const column = table.columns.add(
      ElementMap<ColumnStore::Column>::keyOf(entity, descriptor), ColumnStore::kNoColumn);
  if (column == nullptr) return nullptr;
  std::string name = entity == nullptr ? "" : entity->getQualifiedName();
  if (descriptor != nullptr) name += " " + descriptor->getName();
  *column = table.store.addColumn(name + traceUnitSuffix(TraceMode::Value, metric.getQuantity()));
  return column;
}
