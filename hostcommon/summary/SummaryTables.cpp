#include "hostcommon/summary/SummaryTables.h"

#include <algorithm>
#include <deque>

#include "hostcommon/summary/MetricTables.h"
#include "hostcommon/summary/WholeMachine.h"

namespace pwr {

SummaryTables::SummaryTables()
    : totals_(std::make_unique<std::map<unsigned int, MetricTotals>>()) {}

SummaryTables::~SummaryTables() = default;

MetricTotals& SummaryTables::totalsOf(const Metric& metric) {
  noteContainer(metric.getDescription()->containerId);
  return totals_->try_emplace(metric.getId(), metric.getDescription()).first->second;
}

void SummaryTables::add(const Metric& metric) {
  totalsOf(metric).add(metric.getData());
}

void SummaryTables::addRemainder(const Metric& metric) {
  totalsOf(metric).addRemainder(metric.getData());
}

void SummaryTables::noteContainer(unsigned int containerId) {
  highestContainer_ = std::max(highestContainer_, containerId);
}

std::vector<std::string> SummaryTables::linesOfSilent() const {
  constexpr std::size_t kMostNamed = 5;
  std::vector<std::string> lines;
  for (const auto& [id, totals] : *totals_) {
    std::vector<std::string> names;
    for (const auto& [entity, descriptor] : totals.silent()) {
      if (entity == nullptr && descriptor == nullptr) continue;
      std::string name = entity != nullptr ? entity->getName() : descriptor->getName();
      // The combinations of an entity follow each other.
      if (names.empty() || names.back() != name) names.push_back(std::move(name));
    }
    if (names.empty()) continue;
    std::string line = "metric '" + totals.metric()->name + "' has no value of " + names.front();
    const std::size_t named = std::min(names.size(), kMostNamed);
    for (std::size_t i = 1; i < named; ++i) line += ", " + names[i];
    if (names.size() > named) line += " and " + std::to_string(names.size() - named) + " more";
    lines.push_back(std::move(line));
  }
  return lines;
}

void SummaryTables::deliver(const SystemMetadata& system, const ContainerSink& containers,
                            const TableSink& tables) {
  std::map<const Quantity*, const MetricTotals*> entries;  // the first metric that counts them
  std::deque<MetricTotals> all;
  for (auto& [id, totals] : *totals_) {
    totals.endStates(system.getCollectionStopTimestamp());
    const MetricTotals& shown = all.emplace_back(withWholeMachine(totals));
    const MetricTotals* whole = nullptr;
    if (countsEntries(*shown.metric())) {
      const auto [first, isNew] = entries.try_emplace(shown.metric()->quantity, &shown);
      if (!isNew) whole = first->second;
    }
    for (TableBuilder& table : tablesOf(shown, system.getTscFrequencyMHz(), whole)) {
      table.deliver(tables);
    }
    if (totals.levels() == nullptr || totals.levels()->series().empty()) continue;
    if (auto table = levelTable(withWholeMachine(*totals.levels()))) table->deliver(tables);
  }
  const unsigned int own = highestContainer_ + 1;
  containers(MetricContainerInfoMessage({.containerId = own,
                                         .featureName = "collection",
                                         .metricName = "Samples",
                                         .heading = "Collection"}));
  TableBuilder samples(own, 1, "Collection Summary: Total Samples Received",
                       "Samples received of each metric and the values in them.");
  for (const char* name : {"Metric", "Feature", "Samples", "Values"}) samples.column(name);
  for (const auto& [id, totals] : *totals_) {
    samples.row({Data(totals.metric()->name), Data(totals.metric()->featureTag),
                 Data(totals.messages()), Data(totals.values())});
  }
  samples.deliver(tables);
  if (system.getLostEvents().empty()) return;
  TableBuilder losses(own, 2, "Collection Summary: Lost Events",
                      "Events that came too fast to be collected or that a recording has lost.");
  losses.column("Source");
  losses.column("Events");
  for (const LostEvents& lost : system.getLostEvents()) {
    losses.row({Data(lost.source), Data(lost.count)});
  }
  losses.deliver(tables);
}

}  // namespace pwr
