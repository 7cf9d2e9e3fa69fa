#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "writers/columns/ColumnStore.h"
#include "writers/columns/ElementMap.h"
#include "writers/columns/TableFile.h"
#include "writers/host/WriterPlugin.h"

/// Writes the texts of a run, and every sample as it came, into one ".txt" file: a table for each
/// metric with a column for each entity and descriptor. The format: docs/formats/raw.md.
class RawWriterV2 : public WriterPlugin {
 public:
  RawWriterV2();
  ~RawWriterV2() override;

  int openOutput(const std::string& baseName, bool continuous) override;
  int closeOutput() override;

 private:
  struct Table {
    Table(const std::string& title, const std::string& placeholder) : store(title, placeholder) {}

    ColumnStore store;
    ElementMap<ColumnStore::Column> columns;
  };

  int writeMessage(const pwr::MetricContainerInfoMessage& message) override;
  int writeMessage(const pwr::Metric& metric) override;
  int writeMessage(const pwr::SystemMessage& message) override;
  int writeMessage(const pwr::TextMessage& message) override;

  Table* tableOf(const pwr::Metric& metric);
  static ColumnStore::Column* addColumn(Table& table, const pwr::Metric& metric,
                                        const pwr::EntityHandle* entity,
                                        const pwr::DataDescriptor* descriptor);

  TableFile file_;
  std::vector<std::unique_ptr<Table>> tables_;  // in the order of their first samples
  std::unordered_map<unsigned int, Table*> tableByMetric_;
  std::string cell_;  // kept for its storage
};
