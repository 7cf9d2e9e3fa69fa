#pragma once

#include <map>
#include <string>
#include <tuple>

#include "hostcommon/summary/MetricTotals.h"
#include "tavrin/common/MetricSink.h"

namespace tavrin {

/// What a figure says of its series.
enum class FigureForm {
  Mean,   ///< of values, over the time that they stand for; else over the values
  Share,  ///< % of the measured time that was spent in a state
  Rate,   ///< of a counter, over the measured time; of events, per second of the run
  Total,  ///< of a counter; of events their number
};

/// "mean", "share", "rate", "total"
const char* nameOf(FigureForm form);

/// What a figure is about: the same in every run that has it.
struct FigureKey {
  std::string metric;      ///< name; with the feature's tag where several metrics have the name
  std::string entity;      ///< with those above it; empty for the whole machine
  std::string descriptor;  ///< or state, or text, or name of the process
  FigureForm form = FigureForm::Mean;

  friend bool operator<(const FigureKey& a, const FigureKey& b) {
    return std::tie(a.metric, a.entity, a.descriptor, a.form) <
           std::tie(b.metric, b.entity, b.descriptor, b.form);
  }
};

struct Figure {
  double value = 0.0;
  std::string unit;
  double seconds = 0.0;   ///< that were measured; 0 where that is unknown
  bool isEnergy = false;  ///< of energy or power
};

/// What should be the same where runs are compared.
struct RunFacts {
  std::string host;
  std::string processor;
  std::string system;
  std::string clock;                  ///< "1000 MHz"
  unsigned long long startNs = 0;     ///< wall clock, since 1970; 0 where that is unknown
  unsigned long long startTicks = 0;  ///< on the timestamp clock
  double seconds = 0.0;               ///< that the run lasted
};

struct ComparedRun {
  RunFacts facts;
  std::map<FigureKey, Figure> figures;
};

/// Takes a run and makes figures of it, those of the whole machine and its packages included. Its
/// memory depends on the number of series only.
///
/// Calls: those of a sink, then `take` while the system description is still there.
class RunFigures final : public MetricSink {
 public:
  void system(const pwr::SystemMetadata& metadata) override { metadata_ = &metadata; }
  void metric(pwr::Metric& metric) override;
  void remainder(pwr::Metric& metric) override;
  /// Of two columns, the second called "Value", each row is a figure: so a run tells what its
  /// command used.
  void table(const pwr::TableMessage& message) override;

  /// To be called once.
  ComparedRun take();

 private:
  pwr::MetricTotals& totalsOf(const pwr::Metric& metric);
  void addOwners(const pwr::Metric& metric);

  const pwr::SystemMetadata* metadata_ = nullptr;
  std::map<unsigned int, pwr::MetricTotals> totals_;  // by metric
  /// By metric: what the elements of a list add up to, by the names of those that they are of.
  std::map<unsigned int, std::map<std::string, double>> owners_;
  std::map<FigureKey, Figure> told_;  // by tables
};

}  // namespace tavrin
