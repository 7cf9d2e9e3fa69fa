#pragma once

#include <string>

#include "writers/columns/TraceValue.h"
#include "writers/common/WriterLog.h"
#include "writers/host/Metric.h"
#include "writers/host/SystemMessage.h"

/// One of the tables that come from the samples of a metric and an entity.
struct TraceView {
  unsigned int number;  ///< in the order in which they are printed
  TraceMode mode;
  const pwr::Quantity* quantity;  ///< of what the mode makes of the values; null without
  const std::string& titleSuffix;
  const std::string& placeholder;  ///< of cells without a value
};

/// What a writer of traces keeps while its output is open: the base of the data trace and of the
/// over-time data.
class TraceRun {
 public:
  virtual ~TraceRun() = default;
  TraceRun(const TraceRun&) = delete;
  TraceRun& operator=(const TraceRun&) = delete;

  /// Takes one view of a sample. What cannot be shown is skipped and logged.
  virtual void addSample(const pwr::Metric& metric, const TraceView& view) = 0;
  /// Takes the events of a traced metric.
  virtual void addEvents(const pwr::Metric& metric) = 0;
  /// Is told of a counter whose rate is not known.
  virtual void noteMissingRate(const pwr::Metric& metric) = 0;
  /// Completes the output. Returns 1, with the cause logged, when it is not complete.
  virtual int close() = 0;

  /// Sets the clock. Returns 1, with a warning, when it has no frequency.
  virtual int write(const pwr::SystemMessage& message);

  /// True, with a line, when the sample is older than the collection.
  bool precedesStart(const pwr::Metric& metric);
  /// Tells of a problem with a series of the metric: as a warning once, and then as a debug line.
  /// `line` is a literal. The pointers are null where they do not matter.
  void tell(const char* line, const pwr::Metric& metric, const pwr::EntityHandle* entity = nullptr,
            const pwr::DataDescriptor* descriptor = nullptr);

 protected:
  /// `showsTicks`: times are ticks of the clock.
  explicit TraceRun(bool showsTicks) : showsTicks_(showsTicks) {}

  bool showsTicks() const { return showsTicks_; }
  const char* timeColumnName() const {
    return showsTicks_ ? "Timestamp" : "Continuous Time (usec)";
  }
  const TraceClock& clock() const { return clock_; }

 private:
  const bool showsTicks_;
  TraceClock clock_;
  ToldProblems toldProblems_;
};
