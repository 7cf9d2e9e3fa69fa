#include "writers/columns/RawWriterV2.h"

#include "writers/columns/TraceValue.h"
#include "writers/common/TextLog.h"

namespace {

constexpr const char* kRawExtension = ".txt";

}  // namespace

RawWriterV2::RawWriterV2()
    : RunWriter("2e820d9e-2f9e-4cdb-a81d-056273a7a391",
                new pwr::WriterPluginCapability({}, "raw", "Print raw text data to *.txt file",
                                                kRawExtension, false),
                kTextLog, [](const std::string& baseName, bool /*continuous*/) {
                  return RawRun::open(baseName);
                }) {}

RawWriterV2::~RawWriterV2() = default;

std::unique_ptr<RawRun> RawRun::open(const std::string& baseName) {
  auto run = std::make_unique<RawRun>();
  return run->file_.open(baseName + kRawExtension) ? std::move(run) : nullptr;
}

std::string RawRun::closedLine(const std::string& baseName) {
  return "WARNING: Output file " + baseName + kRawExtension + " does not exist\n";
}

int RawRun::close() {
  for (auto& table : tables_) {
    file_.print(table->store, false);
    // Its temporary file may be as large as its part of the output.
    table.reset();
  }
  return file_.close();
}

int RawRun::write(const pwr::Metric& metric) {
  const pwr::Metric::DataPoint& data = metric.getData();
  Table* const table = tableOf(metric);
  if (table == nullptr) {
    file_.noteLostValues(data.elements.size());
    return 1;
  }
  pwr::Data(data.timestamp).toFormattedString(cell_);
  table->store.setColumnData(cell_, 0);
  for (const pwr::DataElement& element : data.elements) {
    const ColumnStore::Column column =
        columnOf(*table, metric, element.getEntity(), element.getDescriptor());
    if (element.getValue()->toFormattedString(cell_) == 0) {
      table->store.setColumnData(cell_, column);
    }
  }
  table->store.completeRow();
  return 0;
}

RawRun::Table* RawRun::tableOf(const pwr::Metric& metric) {
  const auto [place, isNew] = tableByMetric_.try_emplace(metric.getId(), nullptr);
  if (!isNew) return place->second;
  std::unique_ptr<Table> table = file_.makeTable<Table>(metric.getName(), std::string("n/a"));
  if (table == nullptr) return nullptr;
  table->store.addColumn("Timestamp");
  for (const auto& [entity, descriptor] : metric.getEntityDescriptorCombinations()) {
    columnOf(*table, metric, entity, descriptor);
  }
  place->second = table.get();
  tables_.push_back(std::move(table));
  return place->second;
}

/// Also for a pair that the metric did not announce, which gets a column at the end.
ColumnStore::Column RawRun::columnOf(Table& table, const pwr::Metric& metric,
                                     const pwr::EntityHandle* entity,
                                     const pwr::DataDescriptor* descriptor) {
  return table.columns.find(entity, descriptor, [&] {
    std::string name = entity == nullptr ? "" : entity->getQualifiedName();
    if (descriptor != nullptr) name += " " + descriptor->getName();
    return table.store.addColumn(name + traceUnitSuffix(TraceMode::Value, metric.getQuantity()));
  });
}
