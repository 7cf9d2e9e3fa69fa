#include "exporters/html/BinnedRun.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t kMostBins = 8192;
constexpr std::size_t kLeastCapacity = 64;

/// The weight of a value without a length, in ticks: it counts where nothing else is.
constexpr double kInstant = 0x1p-20;

std::size_t bytesOf(const PageSeries& series) {
  switch (series.kind) {
    case SeriesKind::Value:
      return sizeof(ValueBin);
    case SeriesKind::States:
      return sizeof(StateBin);
    default:
      return sizeof(EventBin);
  }
}

std::size_t bytesOf(const std::vector<PageSeries*>& series) {
  std::size_t bytes = 0;
  for (const PageSeries* const one : series) bytes += bytesOf(*one);
  return bytes;
}

std::size_t capacityFor(std::size_t bytesPerBin, std::size_t mostMemory) {
  std::size_t capacity = kMostBins;
  while (capacity > kLeastCapacity && capacity * bytesPerBin > mostMemory) capacity /= 2;
  return capacity;
}

/// Of a residency: the share of time in each state, of which a bin names as many.
StateBin sharesOf(const PagePoint& point) {
  StateBin shares;
  const auto length = static_cast<double>(point.length);
  for (std::size_t state = 0; state < point.ticks.size(); ++state) {
    if (point.ticks[state] <= 0.0) continue;
    shares.add(static_cast<std::uint16_t>(state), point.ticks[state] / length);
  }
  return shares;
}

template <typename Change>
void changeBins(const std::vector<PageSeries*>& series, const Change& change) {
  for (PageSeries* const one : series) {
    if (one->values != nullptr) change(*one->values);
    if (one->states != nullptr) change(*one->states);
    if (one->events != nullptr) change(*one->events);
  }
}

}  // namespace

BinnedRun::BinnedRun(long long origin, long long end, const std::vector<PageSeries*>& joining,
                     std::size_t mostMemory)
    : mostMemory_(mostMemory),
      grid_(origin, end, capacityFor(bytesOf(joining), mostMemory)),
      series_(joining),
      bytesPerBin_(bytesOf(joining)),
      latest_(std::max(end, origin + 1)) {
  for (PageSeries* const series : series_) {
    series->values.reset();
    series->states.reset();
    series->events.reset();
  }
}

/// Bins are made when the first point comes: the points that are put into bins one series after the
/// other take less memory than all bins until then.
void BinnedRun::makeBins(PageSeries& series) const {
  if (series.values != nullptr || series.states != nullptr || series.events != nullptr) return;
  if (series.kind == SeriesKind::Value) {
    series.values = std::make_unique<ValueBins>(grid_.capacity());
  } else if (series.kind == SeriesKind::States) {
    series.states = std::make_unique<StateBins>(grid_.capacity());
  } else {
    series.events = std::make_unique<EventBins>(grid_.capacity());
  }
}

void BinnedRun::join(PageSeries& series) {
  bytesPerBin_ += bytesOf(series);
  while (isTooLarge() && grid_.capacity() > kLeastCapacity) {
    if (grid_.startOf(grid_.capacity() / 2) <= latest_) widen();
    shrink();
  }
  series_.push_back(&series);
}

void BinnedRun::merge(PageSeries& series, PageSeries* target) {
  std::erase(series_, &series);
  bytesPerBin_ -= bytesOf(series);
  if (target != nullptr && series.values != nullptr) {
    makeBins(*target);
    for (std::size_t n = 0; n < grid_.capacity(); ++n) {
      if (!(*series.values)[n].isEmpty()) (*target->values)[n].merge((*series.values)[n]);
    }
  }
  series.values.reset();
  if (target == nullptr) {
    std::erase_if(late_, [&](const LatePoint& waiting) { return waiting.series == &series; });
  }
  for (LatePoint& waiting : late_) {
    if (waiting.series == &series) waiting.series = target;
  }
}

void BinnedRun::add(PageSeries& series, const PagePoint& point) {
  const long long start = std::max(point.start, grid_.origin());
  const long long end = point.start + point.length;
  if (end < start) {
    ++beforeOrigin_;
    return;
  }
  if (end >= grid_.end() && !makeRoom(series, point, end)) return;
  latest_ = std::max(latest_, end);
  put(series, point, start, endOfLong(series, start, end));
}

/// Points of a series follow one another: its long ones cover each bin a few times at most. Those
/// of a series that says otherwise are cut, or each of millions could take as long as all bins do.
long long BinnedRun::endOfLong(PageSeries& series, long long start, long long end) {
  constexpr long long kLong = 64;
  constexpr std::size_t kMostTimes = 64;
  const long long covered = (end - start) / grid_.width();
  if (covered <= kLong) return end;
  series.longBins += static_cast<std::size_t>(covered);
  if (series.longBins <= kMostTimes * grid_.capacity()) return end;
  ++shortened_;
  return start + kLong * grid_.width();
}

void BinnedRun::put(PageSeries& series, const PagePoint& point, long long start, long long end) {
  makeBins(series);
  if (series.kind == SeriesKind::Events) {
    if (point.start == start) (*series.events)[grid_.binOf(start)].count += 1.0;
    return;
  }
  if (series.kind == SeriesKind::States) return putStates(series, point, start, end);
  const bool isRate = series.metric->meaning.scale.isRate;
  ValueBins& bins = *series.values;
  if (start == end) {
    if (!isRate) bins[grid_.binOf(start)].add(point.value, kInstant);
    return;
  }
  const double value = isRate ? point.value / static_cast<double>(point.length) : point.value;
  forEachBin(grid_, start, end,
             [&](std::size_t bin, double ticks) { bins[bin].add(value, ticks); });
}

void BinnedRun::putStates(PageSeries& series, const PagePoint& point, long long start,
                          long long end) {
  if (start == end) return;
  StateBins& bins = *series.states;
  const auto state = static_cast<std::uint16_t>(point.value);
  const StateBin shares = sharesOf(point);
  forEachBin(grid_, start, end, [&](std::size_t bin, double ticks) {
    if (point.ticks.empty()) return bins[bin].add(state, ticks);
    for (std::size_t n = 0; n < shares.used; ++n) {
      bins[bin].add(shares.state[n], shares.ticks[n] * ticks);
    }
    bins[bin].others += shares.others * ticks;
  });
}

/// One time that is far from all others must not cost the resolution: such ones wait until it shows
/// whether the run goes on there. False for one that waits.
bool BinnedRun::makeRoom(PageSeries& series, const PagePoint& point, long long end) {
  constexpr long long kFar = 64;
  constexpr std::size_t kMostWaiting = 1024;
  if ((end - grid_.origin()) / kFar > latest_ - grid_.origin()) {
    late_.push_back({&series, point, {point.ticks.begin(), point.ticks.end()}});
    if (late_.size() == kMostWaiting) addLate(end);
    return false;
  }
  while (end >= grid_.end()) widen();
  return true;
}

/// Takes what has waited, as far as it begins before `end`.
void BinnedRun::addLate(long long end) {
  for (LatePoint& waiting : std::exchange(late_, {})) {
    PagePoint point = waiting.point;
    if (point.start >= end) {
      ++afterEnd_;
      continue;
    }
    point.ticks = waiting.ticks;
    const long long whole = point.start + point.length;
    const long long until = std::min(whole, end);
    while (until >= grid_.end()) widen();
    latest_ = std::max(latest_, until);
    put(*waiting.series, point, std::max(point.start, grid_.origin()), until);
  }
}

void BinnedRun::finish(long long end) {
  addLate(end);
  for (PageSeries* const series : series_) makeBins(*series);
}

void BinnedRun::widen() {
  grid_.widen();
  changeBins(series_, [](auto& bins) { bins.mergePairs(); });
}

void BinnedRun::shrink() {
  grid_.setCapacity(grid_.capacity() / 2);
  changeBins(series_, [this](auto& bins) { bins.shrink(grid_.capacity()); });
}

void BinnedRun::halve() {
  widen();
  shrink();
}
