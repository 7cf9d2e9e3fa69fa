#include "tavrin/summary/SummaryTables.h"

#include <algorithm>

#include "hostcommon/Descriptions.h"
#include "writers/host/Quantity.h"

namespace tavrin {

namespace {

using Row = std::vector<pwr::Data>;

constexpr double kMicrosecondsPerSecond = 1e6;

const pwr::Quantity* percentage() {
  static const pwr::Quantity* const quantity = pwr::createQuantity(
      {.type = pwr::QuantityType::Percentage, .name = "Percentage", .units = "%"});
  return quantity;
}

/// A table in the making: its columns, then its rows.
class TableBuilder {
 public:
  /// `note` explains the table's cells below it.
  TableBuilder(unsigned int containerId, unsigned int tableId, std::string title,
               std::string note) {
    table_.containerId = containerId;
    table_.tableId = tableId;
    table_.title = std::move(title);
    table_.notes = std::make_shared<const pwr::TextNotes>(
        std::vector<std::string>(), std::vector<std::string>{std::move(note)});
  }

  void column(const std::string& name, const pwr::Quantity* quantity = nullptr) {
    table_.handles.push_back(pwr::createColumn(name, quantity));
  }
  void row(Row cells) { rows_.push_back(std::move(cells)); }

  void deliver(const SummaryTables::TableSink& sink) {
    const auto shared = std::make_shared<const pwr::TableDescription>(std::move(table_));
    if (rows_.empty()) sink(pwr::TableMessage(shared));
    for (Row& cells : rows_) sink(pwr::TableMessage(shared, std::move(cells)));
  }

 private:
  pwr::TableDescription table_;
  std::vector<Row> rows_;
};

/// What the rows of a metric's tables are about: "CPU", "Zone".
std::string subjectOf(const MetricTotals& totals) {
  const pwr::MetricDescription& metric = *totals.metric();
  const pwr::Field* const group =
      metric.entities.empty() ? metric.descriptorGroup.get() : metric.entityGroup.get();
  return group == nullptr ? "Name" : group->getName();
}

std::string nameOf(const pwr::EntityHandle* entity) {
  return entity == nullptr ? std::string() : entity->getName();
}

std::string nameOf(const pwr::DataDescriptor* descriptor) {
  return descriptor == nullptr ? std::string() : descriptor->getName();
}

pwr::Data ratio(double value, double by) {
  return by > 0.0 ? pwr::Data(value / by) : pwr::Data("n/a");
}

/// Distinct members of the series in the order in which they first appear.
template <typename Member>
std::vector<Member> distinct(const MetricTotals& totals, Member SeriesTotals::*member) {
  std::vector<Member> found;
  for (const SeriesTotals& series : totals.series()) {
    if (std::ranges::count(found, series.*member) == 0) found.push_back(series.*member);
  }
  return found;
}

/// Names of the series of a metric. A descriptor that all have in common says nothing about them.
class SeriesNames {
 public:
  explicit SeriesNames(const MetricTotals& totals)
      : isSoleDescriptor_(distinct(totals, &SeriesTotals::descriptor).size() == 1) {}

  std::string operator()(const SeriesTotals& series) const {
    const std::string entity = nameOf(series.entity);
    const std::string descriptor = nameOf(series.descriptor);
    if (entity.empty() || descriptor.empty()) return entity + descriptor;
    return isSoleDescriptor_ ? entity : entity + " " + descriptor;
  }

 private:
  bool isSoleDescriptor_;
};

/// Adds one row per entity that has a cell for each descriptor and each of `cellOf`.
template <typename... CellOf>
void addRowsByEntity(TableBuilder& table, const MetricTotals& totals, const CellOf&... cellOf) {
  const auto descriptors = distinct(totals, &SeriesTotals::descriptor);
  for (const pwr::EntityHandle* entity : distinct(totals, &SeriesTotals::entity)) {
    Row row{pwr::Data(nameOf(entity))};
    const auto addCells = [&](const auto& oneCellOf) {
      for (const pwr::DataDescriptor* descriptor : descriptors) {
        const auto found = std::ranges::find_if(totals.series(), [&](const SeriesTotals& series) {
          return series.entity == entity && series.descriptor == descriptor;
        });
        row.push_back(found == totals.series().end() ? pwr::Data("n/a") : oneCellOf(*found));
      }
    };
    (addCells(cellOf), ...);
    table.row(std::move(row));
  }
}

/// Adds one column per descriptor, named by it.
void addColumnsByDescriptor(TableBuilder& table, const MetricTotals& totals,
                            const pwr::Quantity* quantity) {
  for (const pwr::DataDescriptor* descriptor : distinct(totals, &SeriesTotals::descriptor)) {
    table.column(nameOf(descriptor), quantity);
  }
}

pwr::Data wholeNumber(double value) {
  return pwr::Data(static_cast<unsigned long long>(value));
}

TableBuilder residencyTable(const MetricTotals& totals, TableBuilder table) {
  table.column(subjectOf(totals));
  addColumnsByDescriptor(table, totals, percentage());
  addColumnsByDescriptor(table, totals, pwr::Quantity::time());
  addRowsByEntity(
      table, totals,
      [](const SeriesTotals& series) {
        return ratio(100.0 * series.sum, static_cast<double>(series.durationTicks));
      },
      [](const SeriesTotals& series) { return wholeNumber(series.sum); });
  return table;
}

TableBuilder entryTable(const MetricTotals& totals, TableBuilder table) {
  table.column(subjectOf(totals));
  addColumnsByDescriptor(table, totals, nullptr);
  addRowsByEntity(table, totals,
                  [](const SeriesTotals& series) { return wholeNumber(series.sum); });
  return table;
}

/// Totals of integer counters are shown as integers.
pwr::Data totalOf(const SeriesTotals& series) {
  return series.whole ? pwr::Data(static_cast<long long>(series.sum)) : pwr::Data(series.sum);
}

TableBuilder totalTable(const MetricTotals& totals, TableBuilder table,
                        double ticksPerMicrosecond) {
  const pwr::Quantity* const quantity = totals.metric()->quantity;
  const pwr::Quantity* rate = nullptr;
  double factor = 1.0;
  const bool hasRate = quantity != nullptr && quantity->getRateConversion(rate, factor) == 0;
  table.column(subjectOf(totals));
  if (hasRate) table.column("Average Rate", rate);
  table.column("Total", quantity);
  const SeriesNames nameOfSeries(totals);
  for (const SeriesTotals& series : totals.series()) {
    Row row{pwr::Data(nameOfSeries(series))};
    const double seconds =
        static_cast<double>(series.durationTicks) / (ticksPerMicrosecond * kMicrosecondsPerSecond);
    if (hasRate) row.push_back(ratio(series.sum * factor, seconds));
    row.push_back(totalOf(series));
    table.row(std::move(row));
  }
  return table;
}

TableBuilder valueTable(const MetricTotals& totals, TableBuilder table) {
  const pwr::Quantity* const quantity = totals.metric()->quantity;
  table.column(subjectOf(totals));
  for (const char* name : {"Minimum", "Average", "Maximum"}) table.column(name, quantity);
  table.column("Samples");
  const SeriesNames nameOfSeries(totals);
  for (const SeriesTotals& series : totals.series()) {
    table.row({pwr::Data(nameOfSeries(series)), pwr::Data(series.minimum),
               ratio(series.sum, static_cast<double>(series.count)), pwr::Data(series.maximum),
               pwr::Data(series.count)});
  }
  return table;
}

TableBuilder countTable(const MetricTotals& totals, TableBuilder table) {
  table.column(subjectOf(totals));
  table.column("Value");
  table.column("Count");
  table.column("Time", pwr::Quantity::time());
  const SeriesNames nameOfSeries(totals);
  for (const SeriesTotals& series : totals.series()) {
    table.row({pwr::Data(nameOfSeries(series)), pwr::Data(series.value), pwr::Data(series.count),
               pwr::Data(series.durationTicks)});
  }
  return table;
}

TableBuilder tableOf(const MetricTotals& totals, unsigned int tableId, double ticksPerMicrosecond) {
  using Type = pwr::Metric::MetricType;
  const pwr::MetricDescription& metric = *totals.metric();
  const pwr::Quantity* const quantity = metric.quantity;
  const auto start = [&](const std::string& form, const std::string& note) {
    return TableBuilder(metric.containerId, tableId, metric.name + " Summary: " + form, note);
  };
  if (totals.isCategorical()) {
    return countTable(totals, start("Counts", "How often each value occurred and how long."));
  }
  if (metric.type == Type::SampledResidency) {
    return residencyTable(totals,
                          start("Residency (Percentage and Time)",
                                "Share of the measured time spent in each state and that time."));
  }
  if (metric.type != Type::SampledDelta) {
    return valueTable(totals, start("Sampled Values", "The average is over the samples."));
  }
  if (quantity != nullptr && quantity->toQuantity() == pwr::QuantityType::StateEntry) {
    return entryTable(totals, start("Entry Counts", "How often each state was entered."));
  }
  const pwr::Quantity* rate = nullptr;
  double factor = 1.0;
  const bool hasRate = quantity != nullptr && quantity->getRateConversion(rate, factor) == 0;
  return totalTable(totals,
                    hasRate ? start("Average Rate and Total", "The average is over time.")
                            : start("Total", "The sum of all samples."),
                    ticksPerMicrosecond);
}

}  // namespace

MetricTotals& SummaryTables::totalsOf(const pwr::Metric& metric) {
  noteContainer(metric.getDescription()->containerId);
  return totals_.try_emplace(metric.getId(), metric.getDescription()).first->second;
}

void SummaryTables::add(const pwr::Metric& metric) {
  totalsOf(metric).add(metric.getData());
}

void SummaryTables::addRemainder(const pwr::Metric& metric) {
  totalsOf(metric).addRemainder(metric.getData());
}

void SummaryTables::noteContainer(unsigned int containerId) {
  highestContainer_ = std::max(highestContainer_, containerId);
}

void SummaryTables::deliver(double ticksPerMicrosecond, const ContainerSink& containers,
                            const TableSink& tables) const {
  for (const auto& [id, totals] : totals_) {
    tableOf(totals, id, ticksPerMicrosecond).deliver(tables);
  }
  const unsigned int own = highestContainer_ + 1;
  containers(pwr::MetricContainerInfoMessage({.containerId = own,
                                              .featureName = "collection",
                                              .metricName = "Samples",
                                              .heading = "Collection"}));
  TableBuilder samples(own, 1, "Collection Summary: Total Samples Received",
                       "Samples received of each metric and the values in them.");
  for (const char* name : {"Metric", "Feature", "Samples", "Values"}) samples.column(name);
  for (const auto& [id, totals] : totals_) {
    samples.row({pwr::Data(totals.metric()->name), pwr::Data(totals.metric()->featureTag),
                 pwr::Data(totals.messages()), pwr::Data(totals.values())});
  }
  samples.deliver(tables);
}

}  // namespace tavrin
