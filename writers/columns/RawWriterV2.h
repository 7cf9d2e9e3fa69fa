#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "writers/columns/ColumnStore.h"
#include "writers/columns/TableFile.h"
#include "writers/common/RunWriter.h"
#include "writers/common/SeriesIndex.h"

/// The texts and samples of a run on their way into the raw text file.
class RawRun {
 public:
  /// Null, with the cause logged, when the output cannot be opened.
  static std::unique_ptr<RawRun> open(const std::string& baseName);
  /// The line for a writer that is closed while it is not open.
  static std::string closedLine(const std::string& baseName);

  int write(const pwr::TextMessage& message) { return file_.print(message.getMessage() + "\n\n"); }
  /// Returns 1 for a sample of a table that cannot be made.
  int write(const pwr::Metric& metric);
  /// Completes the output. Returns 1, with the cause logged, when it is not complete.
  int close();

 private:
  struct Table {
    Table(const std::string& title, const std::string& placeholder) : store(title, placeholder) {}

    ColumnStore store;
    SeriesIndex<ColumnStore::Column> columns;
  };

  Table* tableOf(const pwr::Metric& metric);
  static ColumnStore::Column columnOf(Table& table, const pwr::Metric& metric,
                                      const pwr::EntityHandle* entity,
                                      const pwr::DataDescriptor* descriptor);

  TableFile file_;
  std::vector<std::unique_ptr<Table>> tables_;              // in the order of their first samples
  std::unordered_map<unsigned int, Table*> tableByMetric_;  // null for one that was refused
  std::string cell_;                                        // kept for its storage
};

/// Writes the texts of a run, and every sample as it came, into one ".txt" file: a table for each
/// metric with a column for each entity and descriptor. The format: docs/formats/raw.md.
class RawWriterV2 : public RunWriter<RawRun> {
 public:
  RawWriterV2();
  ~RawWriterV2() override;
};
