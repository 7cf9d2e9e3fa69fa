#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "writers/columns/ColumnStore.h"
#include "writers/columns/ElementMap.h"
#include "writers/columns/IntWriterV2.h"
#include "writers/columns/OverTimeMetadata.h"
#include "writers/columns/OverTimeSeries.h"

/// Writes what a data frame wants: one "_phm.csv" table of the whole run, with a row for every
/// sample time and a column for every series (metric, entity, descriptor), and beside it
/// "_phm_metadata.csv", which describes the columns. The format: docs/formats/over-time.md.
class PhmTextWriter : public IntWriterV2 {
 public:
  PhmTextWriter();
  ~PhmTextWriter() override;

  int openOutput(const std::string& baseName, bool continuous) override;
  int closeOutput() override;

 private:
  using SeriesMap = ElementMap<OverTimeSeries*>;

  int writeMessage(const pwr::Metric& metric) override;
  int writeMessage(const pwr::SystemMessage& message) override;

  /// The title's suffix and the placeholder are those of tables that this writer does not have.
  int buildSampledTable(const pwr::Metric& metric, unsigned int view, TraceMode mode,
                        const pwr::Quantity* quantity, const std::string& titleSuffix,
                        const std::string& placeholder) override;
  int buildTracedTable(const pwr::Metric& metric) override;

  void addValues(const pwr::Metric& metric, TraceMode mode, const pwr::Quantity* quantity);
  void addValue(OverTimeSeries& series, const pwr::Metric& metric, const pwr::DataElement& element);
  OverTimeSeries* addSeries(const pwr::Metric& metric, const pwr::DataElement& element,
                            TraceMode mode, const pwr::Quantity* quantity);
  void beginRow(std::uint64_t timestamp);
  void completeRow();

  std::unique_ptr<ColumnStore> table_;  // while the output is open
  OverTimeMetadata metadata_;
  const pwr::SystemMetadata* system_ = nullptr;
  OverTimeSeriesList series_;
  std::unordered_map<unsigned int, SeriesMap> seriesByMetric_;
  bool isFull_ = false;
  bool rowIsOpen_ = false;
  std::uint64_t timeOfRow_ = 0;
  std::string cellMemory_;
};
