#include "exporters/html/AggregateLog.h"

#include <algorithm>
#include <map>
#include <vector>

namespace {

constexpr std::size_t kMostStates = 16;

/// Where the ticks of each state go: the states that last longest have their own place.
std::vector<std::size_t> placesOf(PageSeries& aggregate, std::size_t bins) {
  std::vector<double> ticks(aggregate.metric->states.texts().size());
  for (std::size_t n = 0; n < bins; ++n) {
    const StateBin& bin = (*aggregate.states)[n];
    for (std::size_t slot = 0; slot < bin.used; ++slot) ticks[bin.state[slot]] += bin.ticks[slot];
  }
  std::vector<std::size_t> byTime(ticks.size());
  for (std::size_t n = 0; n < byTime.size(); ++n) byTime[n] = n;
  std::ranges::stable_sort(byTime, std::greater<>(),
                           [&](std::size_t state) { return ticks[state]; });
  const std::size_t others = aggregate.metric->states.numberOf("others");
  std::vector<std::size_t> places(ticks.size(), others);
  for (std::size_t n = 0; n < std::min(kMostStates, byTime.size()); ++n) {
    places[byTime[n]] = byTime[n];
  }
  places.resize(std::max(places.size(), others + 1), others);
  return places;
}

void gatherStates(const PageSeries& aggregate, const StateBin& bin,
                  const std::vector<std::size_t>& places, std::vector<double>& ticks) {
  ticks.assign(places.size(), 0.0);
  const auto members = static_cast<double>(aggregate.members);
  for (std::size_t slot = 0; slot < bin.used; ++slot) {
    ticks[places[bin.state[slot]]] += bin.ticks[slot] / members;
  }
  ticks[aggregate.metric->states.numberOf("others")] += bin.others / members;
}

}  // namespace

void logBins(PageSeries& aggregate, const BinnedRun& bins, long long end) {
  const BinGrid& grid = bins.grid();
  const std::size_t count = grid.binsTo(end);
  std::vector<std::size_t> places;
  std::vector<double> ticks;
  if (aggregate.kind == SeriesKind::States) places = placesOf(aggregate, count);
  for (std::size_t n = 0; n < count; ++n) {
    PagePoint point{.start = grid.startOf(n)};
    point.length = std::min(grid.width(), std::max(end - point.start, 1LL));
    if (aggregate.kind == SeriesKind::Value) {
      const ValueBin& bin = (*aggregate.values)[n];
      if (bin.isEmpty()) continue;
      point.value = aggregate.metric->meaning.scale.isRate ? bin.sum : bin.mean();
    } else if (aggregate.kind == SeriesKind::Events) {
      point.value = (*aggregate.events)[n].count;
    } else {
      const StateBin& bin = (*aggregate.states)[n];
      if (bin.used == 0) continue;
      gatherStates(aggregate, bin, places, ticks);
      point.ticks = ticks;
    }
    aggregate.log.append(point);
  }
}
