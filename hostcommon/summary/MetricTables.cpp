#include "hostcommon/summary/MetricTables.h"

#include <algorithm>
#include <map>
#include <set>

#include "formats/metric_kinds.h"
#include "hostcommon/summary/SeriesGrid.h"
#include "writers/host/Quantity.h"

namespace pwr {

namespace {

constexpr double kMicrosecondsPerSecond = 1e6;

const Quantity* percentage() {
  static const Quantity* const quantity =
      createQuantity({.type = QuantityType::Percentage, .name = "Percentage", .units = "%"});
  return quantity;
}

/// What the rows of a metric's tables are about: "CPU", "Zone".
std::string subjectOf(const MetricTotals& totals) {
  const MetricDescription& metric = *totals.metric();
  const Field* const group =
      metric.entities.empty() ? metric.descriptorGroup.get() : metric.entityGroup.get();
  return group == nullptr ? "Name" : group->getName();
}

Data notAvailable() {
  return Data("n/a");
}

Data ratio(double value, double by) {
  return by > 0.0 ? Data(value / by) : notAvailable();
}

/// Names of the rows of a metric's tables. A descriptor that all have in common says nothing about
/// them.
class RowNames {
 public:
  /// `silent`: the combinations that have a row without being series.
  explicit RowNames(const MetricTotals& totals,
                    const std::vector<Metric::EntityDescCombo>& silent = {})
      : metric_(*totals.metric()) {
    std::set<const DataDescriptor*> descriptors;
    for (const SeriesTotals& series : totals.series()) descriptors.insert(series.descriptor);
    for (const auto& combination : silent) descriptors.insert(combination.descriptor);
    isSoleDescriptor_ = descriptors.size() <= 1;
  }

  std::string operator()(const EntityHandle* entity, const DataDescriptor* descriptor) const {
    const std::string first = entity == nullptr ? "" : entity->getName();
    const std::string second = descriptor == nullptr ? "" : descriptor->getName();
    if (first.empty() && second.empty()) return metric_.name;
    if (first.empty() || second.empty()) return first + second;
    return isSoleDescriptor_ ? first : first + " " + second;
  }

 private:
  const MetricDescription& metric_;
  bool isSoleDescriptor_;
};

/// What all tables of the metric have in common.
TableBuilder startTable(const MetricTotals& totals, const std::string& form, const char* note,
                        bool isSecond = false) {
  const MetricDescription& metric = *totals.metric();
  TableBuilder table(metric.containerId, 2 * metric.id + (isSecond ? 1 : 0),
                     metric.name + " Summary: " + form, note);
  table.column(subjectOf(totals));
  return table;
}

/// False for a table that nobody could read, and few could store: its series are listed instead.
bool isLegible(const SeriesGrid& grid) {
  constexpr std::size_t kMostColumns = 1000;
  constexpr std::size_t kMostCells = 10'000'000;
  const std::size_t columns = grid.columns().size();
  return columns <= kMostColumns && columns * grid.rows().size() <= kMostCells;
}

void addColumns(TableBuilder& table, const SeriesGrid& grid, const Quantity* quantity) {
  for (const auto& [descriptor, value] : grid.columns()) {
    table.column(descriptor == nullptr ? value : descriptor->getName(), quantity);
  }
}

/// Adds the grid's rows, each with a cell per column for each of `cellOf`, which get the series or
/// null and the row's number.
template <typename... CellOf>
void addRows(TableBuilder& table, const SeriesGrid& grid, const RowNames& names,
             const CellOf&... cellOf) {
  for (std::size_t row = 0; row < grid.rows().size(); ++row) {
    const auto& [entity, descriptor] = grid.rows()[row];
    TableBuilder::Row cells{Data(names(entity, descriptor))};
    const auto addCells = [&](const auto& oneCellOf) {
      for (std::size_t column = 0; column < grid.columns().size(); ++column) {
        cells.push_back(oneCellOf(grid.at(row, column), row));
      }
    };
    (addCells(cellOf), ...);
    table.row(std::move(cells));
  }
}

TableBuilder startResidencyTable(const MetricTotals& totals, const SeriesGrid& grid,
                                 bool isSecond = false) {
  TableBuilder table =
      startTable(totals, "Residency (Percentage and Time)",
                 "Share of the measured time spent in each state and that time.", isSecond);
  addColumns(table, grid, percentage());
  addColumns(table, grid, Quantity::time());
  return table;
}

TableBuilder startEntryTable(const MetricTotals& totals, const SeriesGrid& grid, bool isSecond) {
  TableBuilder table =
      startTable(totals, "Entry Counts", "How often each state was entered.", isSecond);
  addColumns(table, grid, nullptr);
  return table;
}

/// Of sampled residencies: the time that was measured is that of the samples.
TableBuilder residencyTable(const MetricTotals& totals, const SeriesGrid& grid) {
  TableBuilder table = startResidencyTable(totals, grid);
  const auto percent = [](const SeriesTotals* series, std::size_t /*row*/) {
    return series == nullptr
               ? notAvailable()
               : ratio(100.0 * series->sum, static_cast<double>(series->durationTicks));
  };
  const auto time = [](const SeriesTotals* series, std::size_t /*row*/) {
    return series == nullptr ? notAvailable() : series->total();
  };
  addRows(table, grid, RowNames(totals), percent, time);
  return table;
}

/// Whether each series of `totals` has one of the same entity and descriptor in `whole`, which may
/// be null.
bool isPartOf(const MetricTotals& totals, const MetricTotals* whole) {
  return whole != nullptr && std::ranges::all_of(totals.series(), [&](const SeriesTotals& series) {
           return whole->find(series.entity, series.descriptor) != nullptr;
         });
}

TableBuilder entryTable(const MetricTotals& totals, const SeriesGrid& grid) {
  TableBuilder table = startEntryTable(totals, grid, false);
  addRows(table, grid, RowNames(totals), [](const SeriesTotals* series, std::size_t /*row*/) {
    return series == nullptr ? notAvailable() : series->total();
  });
  return table;
}

/// Of entries of some kind: also their share of all entries of the state.
TableBuilder entryShareTable(const MetricTotals& totals, const SeriesGrid& grid,
                             const MetricTotals& whole) {
  TableBuilder table =
      startTable(totals, "Entry Counts and Shares",
                 "How often it happened at entries of each state, and to which share of them.");
  addColumns(table, grid, nullptr);
  addColumns(table, grid, percentage());
  const auto share = [&](const SeriesTotals* series, std::size_t /*row*/) {
    if (series == nullptr) return notAvailable();
    const SeriesTotals* const all = whole.find(series->entity, series->descriptor);
    return ratio(100.0 * series->sum, all->sum);
  };
  const auto count = [](const SeriesTotals* series, std::size_t /*row*/) {
    return series == nullptr ? notAvailable() : series->total();
  };
  addRows(table, grid, RowNames(totals), count, share);
  return table;
}

/// Of traced states: the time that was measured is that of all states together.
TableBuilder stateTable(const MetricTotals& totals, const SeriesGrid& grid, bool isSecond) {
  std::vector<double> measured(grid.rows().size());
  for (std::size_t row = 0; row < measured.size(); ++row) {
    for (std::size_t column = 0; column < grid.columns().size(); ++column) {
      const SeriesTotals* const series = grid.at(row, column);
      if (series != nullptr) measured[row] += static_cast<double>(series->durationTicks);
    }
  }
  const auto ticks = [](const SeriesTotals* series) {
    return series == nullptr ? 0 : series->durationTicks;
  };
  TableBuilder table = startResidencyTable(totals, grid, isSecond);
  addRows(
      table, grid, RowNames(totals),
      [&](const SeriesTotals* series, std::size_t row) {
        return ratio(100.0 * static_cast<double>(ticks(series)), measured[row]);
      },
      [&](const SeriesTotals* series, std::size_t /*row*/) { return Data(ticks(series)); });
  return table;
}

std::vector<TableBuilder> stateTables(const MetricTotals& totals, const SeriesGrid& grid) {
  TableBuilder entries = startEntryTable(totals, grid, true);
  addRows(entries, grid, RowNames(totals), [](const SeriesTotals* series, std::size_t /*row*/) {
    return Data(series == nullptr ? 0 : series->count);
  });
  return {stateTable(totals, grid, false), std::move(entries)};
}

/// Takes all but the largest rows away from many, and returns what these add up to.
SeriesTotals cutToLargest(std::vector<const SeriesTotals*>& rows) {
  std::ranges::stable_sort(rows, std::ranges::greater(), &SeriesTotals::sum);
  SeriesTotals others;
  for (std::size_t row = kMostRows; row < rows.size(); ++row) others.addTotals(*rows[row]);
  rows.resize(std::min(rows.size(), kMostRows));
  return others;
}

/// A row per series. Of many that are about the whole machine only the largest, then all others.
TableBuilder totalTable(const MetricTotals& totals, double ticksPerMicrosecond) {
  const Quantity* const quantity = totals.metric()->quantity;
  const Quantity* rate = nullptr;
  double factor = 1.0;
  const bool hasRate = quantity != nullptr && quantity->getRateConversion(rate, factor) == 0;
  TableBuilder table =
      hasRate ? startTable(totals, "Average Rate and Total", "The average is over time.")
              : startTable(totals, "Total", "The sum of all samples.");
  if (hasRate) table.column("Average Rate", rate);
  table.column("Total", quantity);
  const auto addRow = [&](const std::string& name, const SeriesTotals& series) {
    TableBuilder::Row row{Data(name)};
    const double seconds =
        static_cast<double>(series.durationTicks) / (ticksPerMicrosecond * kMicrosecondsPerSecond);
    if (hasRate) row.push_back(ratio(series.sum * factor, seconds));
    row.push_back(series.total());
    table.row(std::move(row));
  };
  const auto silent = totals.silent();
  const RowNames names(totals, silent);
  std::vector<const SeriesTotals*> rows;
  for (const SeriesTotals& series : totals.series()) rows.push_back(&series);
  const auto isOfMachine = [](const SeriesTotals* series) { return series->entity == nullptr; };
  const bool isCut = rows.size() > kMostRows && std::ranges::all_of(rows, isOfMachine);
  const SeriesTotals others = isCut ? cutToLargest(rows) : SeriesTotals();
  for (const SeriesTotals* row : rows) addRow(names(row->entity, row->descriptor), *row);
  if (isCut) addRow("others", others);
  for (const auto& [entity, descriptor] : silent) {
    TableBuilder::Row row{Data(names(entity, descriptor)), notAvailable()};
    if (hasRate) row.push_back(notAvailable());
    table.row(std::move(row));
  }
  return table;
}

bool isTransition(const MetricTotals& totals) {
  return totals.metric()->type == Metric::MetricType::TracedValueTransition;
}

/// Of numbers that are traced, over the time in which they are known; a source may not tell that.
Data averageOverTime(const SeriesTotals& series) {
  return ratio(series.weightedSum, static_cast<double>(series.durationTicks));
}

Data averageOfSamples(const SeriesTotals& series) {
  return ratio(series.sum, static_cast<double>(series.count));
}

TableBuilder valueTable(const MetricTotals& totals) {
  const Quantity* const quantity = totals.metric()->quantity;
  const bool isTraced = isTransition(totals);
  TableBuilder table =
      isTraced ? startTable(totals, "Values over Time",
                            "The average is over the time in which the value is known.")
               : startTable(totals, "Sampled Values", "The average is over the samples.");
  for (const char* name : {"Minimum", "Average", "Maximum"}) table.column(name, quantity);
  table.column(isTraced ? "Changes" : "Samples");
  const auto silent = totals.silent();
  const RowNames names(totals, silent);
  for (const SeriesTotals& series : totals.series()) {
    table.row({Data(names(series.entity, series.descriptor)), Data(series.minimum),
               isTraced ? averageOverTime(series) : averageOfSamples(series), Data(series.maximum),
               Data(series.count)});
  }
  for (const auto& [entity, descriptor] : silent) {
    table.row({Data(names(entity, descriptor)), notAvailable(), notAvailable(), notAvailable(),
               Data(0U)});
  }
  return table;
}

/// How long the texts of each entity and descriptor lasted, all together.
class KnownTimes {
 public:
  explicit KnownTimes(const std::vector<SeriesTotals>& all) {
    for (const SeriesTotals& series : all) {
      const auto time = static_cast<double>(series.durationTicks);
      times_[{series.entity, series.descriptor}] += time;
      all_ += time;
    }
  }
  Data shareOf(const SeriesTotals& series) const {
    return percent(series, times_.at({series.entity, series.descriptor}));
  }
  Data shareOfAll(const SeriesTotals& series) const { return percent(series, all_); }

 private:
  static Data percent(const SeriesTotals& series, double time) {
    return ratio(100.0 * static_cast<double>(series.durationTicks), time);
  }

  std::map<std::pair<const EntityHandle*, const DataDescriptor*>, double> times_;
  double all_ = 0.0;
};

/// The series of texts: those that last by their times. Of many others only the most frequent. What
/// is cut is added to `others`.
std::vector<const SeriesTotals*> topTexts(const MetricTotals& totals, SeriesTotals& others) {
  std::vector<const SeriesTotals*> rows;
  for (const SeriesTotals& series : totals.series()) rows.push_back(&series);
  if (isTransition(totals)) {
    std::ranges::stable_sort(rows, std::ranges::greater(), &SeriesTotals::durationTicks);
  } else if (rows.size() > kMostRows || others.count > 0) {
    std::ranges::stable_sort(rows, std::ranges::greater(), &SeriesTotals::count);
  }
  for (std::size_t row = kMostRows; row < rows.size(); ++row) {
    others.count += rows[row]->count;
    others.durationTicks += rows[row]->durationTicks;
  }
  rows.resize(std::min(rows.size(), kMostRows));
  return rows;
}

const char* noteOfCounts(bool hasTimes, bool hasShares) {
  if (hasShares) {
    return "How often each value occurred, how long, and its share of the time in which the value "
           "is known.";
  }
  return hasTimes ? "How often each value occurred and how long."
                  : "How often each value occurred.";
}

/// A row per series and value, and one of all others. Of what lasts also its share of the time.
TableBuilder countTable(const MetricTotals& totals) {
  const bool hasShares = isTransition(totals);
  SeriesTotals others = totals.others();
  const bool hasTimes =
      hasShares || others.durationTicks > 0 ||
      std::ranges::any_of(totals.series(), [](const auto& one) { return one.durationTicks > 0; });
  TableBuilder table = startTable(totals, "Counts", noteOfCounts(hasTimes, hasShares));
  table.column("Value");
  table.column("Count");
  if (hasTimes) table.column("Time", Quantity::time());
  if (hasShares) table.column("Share", percentage());
  const KnownTimes known(totals.series());
  const auto addRow = [&](const std::string& name, const SeriesTotals& series, const Data& share) {
    TableBuilder::Row row{Data(name), Data(series.value), Data(series.count)};
    if (hasTimes) row.emplace_back(series.durationTicks);
    if (hasShares) row.push_back(share);
    table.row(std::move(row));
  };
  const RowNames names(totals);
  for (const SeriesTotals* series : topTexts(totals, others)) {
    addRow(names(series->entity, series->descriptor), *series, known.shareOf(*series));
  }
  if (others.count > 0) addRow("others", others, known.shareOfAll(others));
  return table;
}

bool isOfRanks(const MetricDescription& metric) {
  return metric.descriptorGroup != nullptr && metric.descriptorGroup->getName() == kRankGroup;
}

}  // namespace

bool countsEntries(const MetricDescription& metric) {
  return metric.type == Metric::MetricType::SampledDelta && metric.quantity != nullptr &&
         metric.quantity->toQuantity() == QuantityType::StateEntry;
}

std::vector<TableBuilder> tablesOf(const MetricTotals& totals, double ticksPerMicrosecond,
                                   const MetricTotals* whole) {
  using Type = Metric::MetricType;
  const MetricDescription& metric = *totals.metric();
  const SeriesGrid grid(totals);
  if (totals.hasStates() && isLegible(grid)) return stateTables(totals, grid);
  if (totals.isCategorical()) return {countTable(totals)};
  if (metric.type == Type::SampledResidency && isLegible(grid)) {
    return {residencyTable(totals, grid)};
  }
  const bool isCounter = metric.type == Type::SampledDelta || metric.type == Type::SampledResidency;
  if (isOfRanks(metric)) return {};
  if (!isCounter) return {valueTable(totals)};
  if (countsEntries(metric) && isLegible(grid)) {
    return {isPartOf(totals, whole) ? entryShareTable(totals, grid, *whole)
                                    : entryTable(totals, grid)};
  }
  return {totalTable(totals, ticksPerMicrosecond)};
}

std::optional<TableBuilder> levelTable(const MetricTotals& levels) {
  const SeriesGrid grid(levels);
  if (!isLegible(grid)) return std::nullopt;
  return stateTable(levels, grid, true);
}

}  // namespace pwr
