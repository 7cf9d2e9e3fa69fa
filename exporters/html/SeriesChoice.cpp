#include "exporters/html/SeriesChoice.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numeric>
#include <set>
#include <tuple>

namespace {

/// How many series of each role are certain of a place, in the order of `MetricRole`. Together they
/// are what is left beside the aggregates.
constexpr std::array<std::size_t, 10> kPlaces{24, 44, 16, 44, 24, 12, 24, 8, 12, 0};
static_assert(std::accumulate(kPlaces.begin(), kPlaces.end(), std::size_t{0}) ==
              kMostSeries - kMostAggregates);

/// So many series of a metric come before those of the next one, and then as many again.
constexpr std::size_t kTurn = 8;

struct Candidate {
  PageSeries* series;
  double use;  ///< for comparison within its metric
  unsigned long long number;
  std::size_t place;  ///< in its metric
};

MetricRole roleOf(const PageSeries& series) {
  return series.metric->meaning.role;
}

bool isByUse(MetricRole role) {
  return role >= MetricRole::ProcessTime;
}

/// Something that never happened, or an unchanging nothing.
bool isIdleSeries(const PageSeries& series) {
  const SeriesTotals& totals = series.totals;
  if (series.kind != SeriesKind::Value) return totals.points() == 0;
  return totals.minimum() == 0.0 && totals.maximum() == 0.0 && totals.sum() == 0.0;
}

double useOf(const PageSeries& series) {
  if (!isByUse(roleOf(series))) return 0.0;
  return series.kind == SeriesKind::Value ? std::abs(series.totals.sum())
                                          : static_cast<double>(series.totals.points());
}

/// The number at the end of the entity's name, as that of a CPU.
unsigned long long numberOf(const PageSeries& series) {
  constexpr std::size_t kMostDigits = 9;
  if (series.entity == nullptr) return 0;
  const std::string& name = series.entity->getName();
  std::size_t first = name.size();
  while (first > 0 && name.size() - first < kMostDigits && name[first - 1] >= '0' &&
         name[first - 1] <= '9') {
    --first;
  }
  return first == name.size() ? 0 : std::stoull(name.substr(first));
}

std::vector<Candidate> candidatesOf(std::deque<PageSeries>& series) {
  std::map<const MetricSeries*, std::vector<Candidate>> byMetric;
  for (PageSeries& one : series) {
    byMetric[one.metric].push_back({&one, useOf(one), numberOf(one), 0});
  }
  std::vector<Candidate> candidates;
  candidates.reserve(series.size());
  for (auto& [metric, ofMetric] : byMetric) {
    std::ranges::stable_sort(ofMetric, {},
                             [](const Candidate& one) { return std::pair(-one.use, one.number); });
    for (std::size_t n = 0; n < ofMetric.size(); ++n) ofMetric[n].place = n;
    candidates.insert(candidates.end(), ofMetric.begin(), ofMetric.end());
  }
  return candidates;
}

}  // namespace

bool isOfProcess(const PageSeries& series) {
  const MetricRole role = roleOf(series);
  return role == MetricRole::ProcessTime || role == MetricRole::ProcessEnergy;
}

const pwr::EntityHandle* packageOf(const pwr::EntityHandle* entity) {
  while (entity != nullptr && entity->getLevel() != "Package") entity = entity->getParent();
  return entity;
}

std::string groupOf(const PageSeries& series, Grouping grouping) {
  const ValueScale& scale = series.metric->meaning.scale;
  std::string group = std::to_string(static_cast<int>(series.kind)) + " ";
  if (grouping == Grouping::Kind && series.kind != SeriesKind::States) {
    return group + std::to_string(static_cast<int>(roleOf(series))) + " " + scale.unit + " " +
           std::to_string(scale.factor) + (scale.isRate ? " rate" : "");
  }
  group += "metric " + std::to_string(series.metric->metric->id);
  if (grouping != Grouping::MetricAndPackage) return group;
  const pwr::EntityHandle* const package = packageOf(series.entity);
  return package == nullptr ? group : group + " package " + std::to_string(package->getId());
}

std::vector<PageSeries*> byImportance(std::deque<PageSeries>& series) {
  std::vector<Candidate> candidates = candidatesOf(series);
  std::ranges::stable_sort(candidates, {}, [](const Candidate& one) {
    const PageSeries& what = *one.series;
    return std::tuple(isIdleSeries(what), roleOf(what), one.place / kTurn, what.metric->order,
                      one.place);
  });
  std::vector<PageSeries*> ordered;
  std::vector<PageSeries*> rest;
  ordered.reserve(candidates.size());
  rest.reserve(candidates.size());
  std::array<std::size_t, kPlaces.size()> taken{};
  for (const Candidate& one : candidates) {
    const auto role = static_cast<std::size_t>(roleOf(*one.series));
    (taken[role]++ < kPlaces[role] ? ordered : rest).push_back(one.series);
  }
  // Processes are many: beyond their part they come behind all that a machine has but once.
  std::stable_partition(rest.begin(), rest.end(),
                        [](const PageSeries* one) { return !isOfProcess(*one); });
  ordered.insert(ordered.end(), rest.begin(), rest.end());
  return ordered;
}

Grouping groupingFor(const std::vector<PageSeries*>& folded) {
  for (const Grouping grouping : {Grouping::MetricAndPackage, Grouping::Metric}) {
    std::set<std::string> groups;
    for (const PageSeries* const series : folded) groups.insert(groupOf(*series, grouping));
    if (groups.size() <= kMostAggregates) return grouping;
  }
  return Grouping::Kind;
}
