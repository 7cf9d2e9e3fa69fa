#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "writers/common/SeriesIndex.h"
#include "writers/common/WriterLog.h"
#include "writers/continuous/ContinuousWriter.h"
#include "writers/continuous/ElementValue.h"
#include "writers/continuous/JsonText.h"
#include "writers/continuous/RecordBlocks.h"
#include "writers/continuous/WholeFile.h"
#include "writers/host/Metric.h"

/// The model of the continuous JSON output: the descriptions of every metric seen since the process
/// started, and the data points since the last file. The format: docs/formats/json-trace.md.
class ContWriter : public ContinuousWriter {
 public:
  /// The instance that all JSON writers of the process share. Made by the first call, with that
  /// call's base name; lives until the process ends.
  static ContWriter& shared(const std::string& baseName);

  explicit ContWriter(std::string baseName) : baseName_(std::move(baseName)) {}

  /// `microseconds`: length of a tick of the durations to come.
  void setTickPeriod(double microseconds) { tickPeriod_ = microseconds; }
  /// Adds a sample. Elements without a descriptor or without a value that a document can hold are
  /// left out with a warning. Returns 0.
  int add(const pwr::Metric& metric);
  /// Writes the file "BASE_N.ztjson", where N counts the files of the process from 0. The points
  /// are let go when the file is complete; otherwise nothing stands under its name, the next file
  /// has the number and the points.
  bool write(const pwr::SystemMetadata& system) override;

  /// A run of a writer feeds the model from now on.
  void beginRun() { ++runs_; }
  /// Ends it. `isFlushed` says whether its last file was written; otherwise that is tried once
  /// more, and what can be written is kept as incomplete. What no file has when the last run ends
  /// is let go: a file is of one run. False when something is missing.
  bool endRun(const pwr::SystemMetadata& system, bool isFlushed);

 private:
  /// What a point is measured on.
  struct Series {
    unsigned int metric;
    std::string entity;
    const pwr::DataDescriptor* descriptor;
  };
  struct Point {
    unsigned long long timestamp;  ///< ticks
    double duration;               ///< microseconds, or the quantity's own unit for a rate
    double value;
    std::uint32_t series;
  };
  struct MetricState {
    bool isRate = false;
    SeriesIndex<std::uint32_t> series;
  };

  bool writeFile(const pwr::SystemMetadata& system, Unfinished unfinished);
  void addElement(const pwr::Metric& metric, MetricState& state, const pwr::DataElement& element);
  void addMetadata(const pwr::Metric& metric);
  void logElement(const pwr::DataElement& element, double value) const;
  std::vector<std::string> nodeNames() const;
  void writeDocument(const pwr::SystemMetadata& system, JsonBuffer& document) const;
  void writeMetadata(JsonWriter& json, const pwr::SystemMetadata& system) const;
  void writePoints(JsonWriter& json) const;

  const std::string baseName_;
  double tickPeriod_ = 1.0;
  std::unordered_map<unsigned int, MetricState> metrics_;
  std::vector<std::shared_ptr<const Metadata>> nodes_;  ///< in the order in which metrics came
  std::vector<Series> series_;
  RecordBlocks points_;
  ElementValue value_;
  ToldProblems told_;
  int runs_ = 0;  ///< that feed the model
};
