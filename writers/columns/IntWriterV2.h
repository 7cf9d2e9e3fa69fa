#pragma once

#include <string>

#include "writers/columns/TraceRun.h"
#include "writers/common/RunWriter.h"

/// Writes every sample of every metric into one "_trace.csv" file: a table for each metric and
/// entity, and for each derived view of it, printed when the output is closed. The format:
/// docs/formats/trace.md.
class IntWriterV2 : public RunWriter<TraceRun> {
 public:
  IntWriterV2();
  ~IntWriterV2() override;

  int openOutput(const std::string& baseName, bool continuous) override;
  int closeOutput() override;

 protected:
  /// The views of a sampled metric, in the order in which they are printed.
  enum View : unsigned int { kPlainView = 0, kDerivedView = 1, kPercentageView = 2 };

  /// For a derived writer, which has its own capability and makes its own runs. `extension` is that
  /// of the file that messages name.
  IntWriterV2(const std::string& guid, pwr::WriterPluginCapability* capability,
              const std::string& extension, MakeRun makeRun);

  using RunWriter::writeMessage;
  int writeMessage(const pwr::Metric& metric) override;

  // The next two are the first virtual operations behind those of WriterPlugin, in this order.

  /// Takes a sample of a sampled metric into the tables of one view. `quantity` is that of the
  /// values that the mode makes; null when there is none. Always returns 0: what cannot be shown is
  /// skipped and logged.
  virtual int buildSampledTable(const pwr::Metric& metric, unsigned int view, TraceMode mode,
                                const pwr::Quantity* quantity, const std::string& titleSuffix,
                                const std::string& placeholder);
  /// Takes events of a traced metric. Always returns 0.
  virtual int buildTracedTable(const pwr::Metric& metric);

 private:
  void buildCounterTables(const pwr::Metric& metric);
  void buildResidencyTables(const pwr::Metric& metric);

  const std::string extension_;
  const bool showsResidencyTicks_;
  std::string outputPath_;
};
