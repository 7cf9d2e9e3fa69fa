#include "exporters/html/SeriesStore.h"

#include <algorithm>
#include <set>
#include <utility>

#include "exporters/html/AggregateLog.h"

namespace {

/// Aggregates of series whose points are stored as they came have few bins.
constexpr std::size_t kAggregateMemory = std::size_t{4} << 20U;

}  // namespace

PageSeries& SeriesStore::make(MetricSeries& metric, const pwr::EntityHandle* entity,
                              const pwr::DataDescriptor* descriptor, SeriesKind kind) {
  PageSeries& series = series_.emplace_back();
  series.metric = &metric;
  series.entity = entity;
  series.descriptor = descriptor;
  series.kind = kind;
  memory_ += sizeof(PageSeries);
  if (!isBinned()) return series;
  if (shown_.size() < kMostSeries - kMostAggregates || giveWayTo(series)) {
    shown_.push_back(&series);
    binned_->join(series);
  } else {
    fold(series);
  }
  return series;
}

/// Processes come and go: of those that are shown, the one that has used the least becomes a part
/// of an aggregate. False when there is none.
bool SeriesStore::giveWayTo(const PageSeries& series) {
  if (!isOfProcess(series)) return false;
  PageSeries* least = nullptr;
  for (PageSeries* const one : shown_) {
    if (one->metric != series.metric || one->members > 0) continue;
    if (least == nullptr || one->totals.sum() < least->totals.sum()) least = one;
  }
  if (least == nullptr) return false;
  fold(*least);
  binned_->merge(*least, least->target);
  std::erase(shown_, least);
  return true;
}

void SeriesStore::take(PageSeries& series, const PagePoint& point) {
  if (isBinned()) return takeToBins(series, point);
  memory_ += series.log.append(point);
  if (memory_ > mostMemory_) startBins();
}

void SeriesStore::takeToBins(PageSeries& series, const PagePoint& point) {
  series.open.pass(point, [&](const PagePoint& whole) {
    series.addToTotals(whole, ticksPerSecond_);
    if (series.target != nullptr) binned_->add(*series.target, whole);
  });
}

/// Its points go to the aggregate of its group from now on.
void SeriesStore::fold(PageSeries& series) {
  series.target = aggregateOf(series);
  if (series.target == nullptr) {
    ++leftOut_;
  } else {
    ++series.target->members;
  }
}

/// Null when there are too many.
PageSeries* SeriesStore::aggregateOf(const PageSeries& series) {
  for (const Grouping grouping : {grouping_, Grouping::Kind}) {
    const std::string group = groupOf(series, grouping);
    const auto found = aggregatesByGroup_.find(group);
    if (found != aggregatesByGroup_.end()) return found->second;
    if (aggregates_.size() == kMostAggregates) continue;
    PageSeries& aggregate = aggregates_.emplace_back();
    aggregate.metric = series.metric;
    aggregate.kind = series.kind;
    aggregate.isOfMetric = grouping != Grouping::Kind || series.kind == SeriesKind::States;
    if (grouping == Grouping::MetricAndPackage) aggregate.entity = packageOf(series.entity);
    aggregatesByGroup_.emplace(group, &aggregate);
    if (isBinned()) {
      shown_.push_back(&aggregate);
      binned_->join(aggregate);
    }
    return &aggregate;
  }
  return nullptr;
}

/// Which series are shown, and which aggregates stand for the others.
void SeriesStore::choose() {
  const std::vector<PageSeries*> ordered = byImportance(series_);
  const std::size_t places =
      ordered.size() <= kMostSeries ? ordered.size() : kMostSeries - kMostAggregates;
  const auto cut = ordered.begin() + static_cast<std::ptrdiff_t>(places);
  shown_.assign(ordered.begin(), cut);
  const std::vector<PageSeries*> folded(cut, ordered.end());
  grouping_ = groupingFor(folded);
  for (PageSeries* const series : folded) fold(*series);
  for (PageSeries& aggregate : aggregates_) shown_.push_back(&aggregate);
}

/// Those that came when others were shown already are among them.
void SeriesStore::orderShown() {
  const std::set<const PageSeries*> isShown(shown_.begin(), shown_.end());
  std::vector<PageSeries*> ordered = byImportance(series_);
  std::erase_if(ordered, [&](const PageSeries* one) { return !isShown.contains(one); });
  for (PageSeries& aggregate : aggregates_) ordered.push_back(&aggregate);
  shown_ = std::move(ordered);
}

void SeriesStore::addTotalsOfLog(PageSeries& series, std::optional<long long> end) const {
  OpenPoint open;
  const auto add = [&](const PagePoint& point) { series.addToTotals(point, ticksPerSecond_); };
  series.log.forEach([&](const PagePoint& point) { open.pass(point, add); });
  if (end) open.finish(*end, add);
}

/// Puts the points of the series' log into bins. Without an end the last one may still wait for it.
void SeriesStore::replay(PageSeries& series, BinnedRun& bins, std::optional<long long> end) {
  if (series.target == nullptr) return;
  const auto add = [&](const PagePoint& point) { bins.add(*series.target, point); };
  series.log.forEach([&](const PagePoint& point) { series.open.pass(point, add); });
  if (end) series.open.finish(*end, add);
}

/// Before the collection, but no further than it lasted.
long long SeriesStore::originOfBins() const {
  long long origin = 0;
  for (const PageSeries& series : series_) origin = std::min(origin, series.totals.firstStart());
  return std::max(origin, -extentSoFar());
}

/// Where most series are now; some may have a time that is far from all others.
long long SeriesStore::extentSoFar() const {
  constexpr long long kFar = 64;
  std::vector<long long> ends;
  ends.reserve(series_.size());
  for (const PageSeries& series : series_) ends.push_back(series.log.lastEnd());
  if (ends.empty()) return 1;
  std::ranges::sort(ends);
  const long long middle = std::max(1LL, ends[ends.size() / 2]);
  const auto behind = std::ranges::upper_bound(ends, middle * kFar);
  return std::max(middle, behind == ends.begin() ? 1LL : *std::prev(behind));
}

/// The points have become too many to be kept as they came.
void SeriesStore::startBins() {
  for (PageSeries& series : series_) addTotalsOfLog(series, std::nullopt);
  choose();
  binned_ = std::make_unique<BinnedRun>(originOfBins(), extentSoFar(), shown_, mostBinMemory_);
  for (PageSeries& series : series_) {
    replay(series, *binned_, std::nullopt);
    series.log.clear();
  }
}

void SeriesStore::finish(long long duration) {
  duration_ = duration;
  for (const PageSeries& series : series_) {
    if (duration > 0) break;
    duration_ = std::max({duration_, series.totals.lastEnd(), series.log.lastEnd()});
  }
  duration_ = std::max(duration_, 1LL);
  if (isBinned()) {
    for (PageSeries& series : series_) {
      series.open.finish(duration_, [&](const PagePoint& point) {
        series.addToTotals(point, ticksPerSecond_);
        if (series.target != nullptr) binned_->add(*series.target, point);
      });
    }
    binned_->finish(duration_);
    orderShown();
  } else {
    for (PageSeries& series : series_) {
      series.log.sort();
      addTotalsOfLog(series, duration_);
    }
    choose();
    std::vector<PageSeries*> aggregates;
    for (PageSeries& aggregate : aggregates_) aggregates.push_back(&aggregate);
    aggregated_ =
        std::make_unique<BinnedRun>(originOfBins(), duration_, aggregates, kAggregateMemory);
    for (PageSeries& series : series_) {
      if (series.target != &series) replay(series, *aggregated_, duration_);
    }
    aggregated_->finish(duration_);
    for (PageSeries& aggregate : aggregates_) logBins(aggregate, *aggregated_, duration_);
  }
  for (PageSeries& series : series_) {
    if (series.target != &series && series.target != nullptr) {
      series.target->totals.merge(series.totals);
    }
  }
}

void SeriesStore::toBins() {
  if (isBinned()) return;
  binned_ = std::make_unique<BinnedRun>(originOfBins(), duration_, shown_, mostBinMemory_);
  aggregated_.reset();
  for (PageSeries& series : series_) {
    replay(series, *binned_, duration_);
    series.log.clear();
  }
  binned_->finish(duration_);
}
