#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "hostcommon/OutputFile.h"
#include "writers/columns/OverTimeEvents.h"
#include "writers/columns/OverTimeMetadata.h"
#include "writers/columns/OverTimeNames.h"
#include "writers/columns/OverTimeSeries.h"
#include "writers/columns/OverTimeTable.h"
#include "writers/columns/TraceRun.h"
#include "writers/common/SeriesIndex.h"

/// The over-time data of a run and the three files that they go to.
class OverTimeRun final : public TraceRun {
 public:
  /// Null, with the cause logged, when one of the files cannot be created, or no temporary file.
  static std::unique_ptr<OverTimeRun> open(const std::string& baseName, bool showsTicks);

  void addSample(const pwr::Metric& metric, const TraceView& view) override;
  void addEvents(const pwr::Metric& metric) override;
  /// Such a counter is shown as it is.
  void noteMissingRate(const pwr::Metric& /*metric*/) override {}
  int close() override;
  int write(const pwr::SystemMessage& message) override;

 private:
  explicit OverTimeRun(bool showsTicks) : TraceRun(showsTicks) {}

  void beginRow(std::uint64_t timestamp);
  std::uint32_t addColumn(const pwr::Metric& metric, const pwr::DataElement& element,
                          const TraceView& view);
  bool formatValue(OverTimeSeries& series, const pwr::Metric& metric,
                   const pwr::DataElement& element);
  void formatTime(std::string& text, std::uint64_t timestamp) const;
  void formatDuration(std::string& text, std::uint64_t ticks) const;

  pwr::OutputFile file_;
  OverTimeTable table_;
  OverTimeSeriesList series_;  // in the order of their columns
  std::unordered_map<unsigned int, SeriesIndex<std::uint32_t>> columnsByMetric_;  // 0 for none
  bool isFull_ = false;
  std::optional<std::uint64_t> timeOfRow_;
  OverTimeNames names_;
  OverTimeEvents events_{*this, names_};
  OverTimeMetadata metadata_;
  const pwr::SystemMetadata* system_ = nullptr;
  // Kept for their storage.
  std::string time_;
  std::string duration_;
  std::string value_;
};
