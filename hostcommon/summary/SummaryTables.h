#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "writers/host/Metric.h"
#include "writers/host/MetricContainerInfoMessage.h"
#include "writers/host/SystemMetadata.h"
#include "writers/host/TableMessage.h"

namespace pwr {

class MetricTotals;

/// Computes the summary tables of a run from the metrics that were delivered, so that a live run
/// and its replay have the same ones. The tables of a metric, by its kind:
///
///   residency            "… Summary: Residency (Percentage and Time)", a row per entity
///   states, traced       the same, and "… Summary: Entry Counts"
///   state entries        "… Summary: Entry Counts", a row per entity
///   some of the entries  "… Summary: Entry Counts and Shares", a row per entity
///   counter with a rate  "… Summary: Average Rate and Total", a row per series; of the whole
///                        machine, the largest ones
///   other counter        "… Summary: Total", likewise
///   numbers              "… Summary: Sampled Values" (minimum, average, maximum), a row per series
///   numbers, traced      "… Summary: Values over Time" (likewise); and as of states, traced, the
///                        residency in each of them, where they are few
///   texts                "… Summary: Counts", a row per series and value, or the most frequent
///                        ones; of texts that last, those that lasted longest, with their shares
///
/// and "Collection Summary: Total Samples Received" over all metrics, followed by "Collection
/// Summary: Lost Events" where the system description tells of some. The first cell of a row names
/// what the row is about; rows of all CPUs, of packages and of all packages come first
/// (`withWholeMachine`), and more CPUs than `kMostCpuRows` have none. Averages are over samples,
/// percentages and rates over time. Traced states are the transitions of a metric with a finite set
/// of values. Metrics of state entries that share the quantity of an earlier one, and have no other
/// series, count some of its entries.
class PW_HOST_API SummaryTables {
 public:
  using TableSink = std::function<void(const TableMessage&)>;
  using ContainerSink = std::function<void(const MetricContainerInfoMessage&)>;

  SummaryTables();
  ~SummaryTables();
  SummaryTables(const SummaryTables&) = delete;
  SummaryTables& operator=(const SummaryTables&) = delete;

  void add(const Metric& metric);
  /// Adds the elements to the totals of their series, but to no count and no duration.
  void addRemainder(const Metric& metric);
  /// Tells which containers exist, so that the tables' own container gets an id of its own.
  void noteContainer(unsigned int containerId);

  /// A line for each metric with entities, or descriptors where it has none, that were announced
  /// and that no value came of.
  std::vector<std::string> linesOfSilent() const;

  /// Delivers every table, row by row; to be called once, when `system` is complete.
  void deliver(const SystemMetadata& system, const ContainerSink& containers,
               const TableSink& tables);

 private:
  MetricTotals& totalsOf(const Metric& metric);

  const std::unique_ptr<std::map<unsigned int, MetricTotals>> totals_;  // by metric id
  unsigned int highestContainer_ = 0;
};

}  // namespace pwr
