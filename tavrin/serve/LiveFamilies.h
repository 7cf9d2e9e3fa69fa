#pragma once

#include <prometheus/metric_family.h>

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hostcommon/SeriesNames.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// A sum that only grows. It keeps what a double had to round away, so that small additions are not
/// lost however long it grows.
class GrowingSum {
 public:
  /// What is not positive or not finite adds nothing.
  void add(double growth);
  double value() const { return sum_; }

 private:
  double sum_ = 0.0;
  double rest_ = 0.0;
};

/// The last values of a live collection as Prometheus has them: docs/formats/prometheus.md. Its
/// memory is bounded by what is there, and by the limits.
///
/// Calls: `add` for the messages of a pass, then `endPass`; those of the kernel's events may come
/// in between.
class LiveFamilies {
 public:
  struct Limits {
    std::size_t series = 100'000;  ///< values of further ones are left out
    std::size_t processes = 100;   ///< series of processes in a family; further ones are "others"
  };

  /// `ticksPerSecond`: of the timestamp clock. `taken`: names that others have.
  LiveFamilies(double ticksPerSecond, Limits limits, std::set<std::string> taken = {});

  /// Takes the values of a message that came at `now`, in ticks.
  void add(const pwr::Metric& metric, unsigned long long now);
  /// Forgets what has had no value for too long.
  void endPass(unsigned long long now);

  /// All families that have series.
  std::vector<prometheus::MetricFamily> collect() const;
  std::size_t seriesCount() const { return seriesCount_; }
  /// How many values were left out because there were too many series.
  unsigned long long leftOut() const { return leftOut_; }

 private:
  /// What a family tells of its metric.
  enum class Role { Sum, Value, State, StateTime, Changes, Events };
  using Labels = std::vector<prometheus::ClientMetric::Label>;

  struct Series {
    GrowingSum sum;      // of counters
    double value = 0.0;  // of gauges
    std::string state;   // of a gauge that tells one
    unsigned long long seen = 0;
    unsigned long long keeps = 0;  // ticks from the last value on
  };
  struct Family {
    std::string name;
    std::string help;
    Role role = Role::Value;
    pwr::BaseUnit unit;
    std::map<Labels, Series> series;
  };
  /// A message's value on its way to its series.
  struct Arrival {
    const pwr::MetricDescription& metric;
    const pwr::DataElement& element;
    unsigned long long now;
  };

  void addSampled(const Arrival& arrival);
  void addTransition(const Arrival& arrival);
  void addEvent(const Arrival& arrival);
  void addOfProcess(const Arrival& arrival, const std::string& process);
  void addState(const Arrival& arrival);
  void count(Family& family, Labels labels, double growth, unsigned long long now,
             unsigned long long keeps);
  Series* seriesOf(Family& family, Labels labels);
  Family& familyOf(const pwr::MetricDescription& metric, Role role);
  std::string nameOf(const pwr::MetricDescription& metric, Role role, const pwr::BaseUnit& unit);
  unsigned long long freshness(const Arrival& arrival) const;
  static prometheus::MetricFamily collect(const Family& family);

  const double ticksPerSecond_;
  const Limits limits_;
  std::set<std::string> taken_;
  std::map<std::pair<unsigned int, Role>, Family> families_;  // by metric
  std::size_t seriesCount_ = 0;
  unsigned long long leftOut_ = 0;
};

}  // namespace tavrin
