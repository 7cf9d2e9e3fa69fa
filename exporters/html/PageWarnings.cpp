#include "exporters/html/PageWarnings.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "exporters/html/PageText.h"
#include "hostcommon/NumberText.h"
#include "writers/host/PluginEnvironment.h"

namespace {

/// So many lines of one sort are told, and of the others how many there are.
constexpr std::size_t kMostLines = 8;

std::string inSeconds(double seconds) {
  constexpr double kMilli = 1e-3;
  constexpr double kMicro = 1e-6;
  std::string text;
  if (seconds >= 1.0 || seconds == 0.0) {
    pwr::appendFixed(text, seconds, 1);
    return text + " s";
  }
  const bool isMilli = seconds >= kMilli;
  pwr::appendFixed(text, seconds / (isMilli ? kMilli : kMicro), 1);
  return text + (isMilli ? " ms" : " us");
}

std::string counted(std::size_t count, const std::string& things) {
  return std::to_string(count) + " " + things + (count == 1 ? "" : "s");
}

/// Lines of one sort.
class Lines {
 public:
  explicit Lines(std::vector<std::string>& all) : all_(all) {}
  void add(std::string line) {
    if (++count_ <= kMostLines) all_.push_back(std::move(line));
  }
  /// `what`: of what there are more.
  void finish(const std::string& what) {
    if (count_ > kMostLines) {
      all_.push_back("… and " + std::to_string(count_ - kMostLines) + " more " + what);
    }
  }

 private:
  std::vector<std::string>& all_;
  std::size_t count_ = 0;
};

void tellOfLosses(const pwr::SystemMetadata& system, std::vector<std::string>& warnings) {
  Lines lines(warnings);
  for (const pwr::LostEvents& lost : system.getLostEvents()) {
    if (lost.count == 0) continue;
    lines.add(std::to_string(lost.count) + " events of " +
              (lost.source.empty() ? "an unknown source" : pageText(lost.source)) + " are lost");
  }
  lines.finish("sources of which events are lost");
}

/// What the series of a metric miss together.
struct Missing {
  std::size_t series = 0;
  std::size_t withGaps = 0;
  std::size_t gaps = 0;
  long long ticks = 0;
  std::string first;
  std::size_t longIntervals = 0;
  double usualLength = 0.0;

  void add(const PageSeries& one) {
    const SeriesTotals& totals = one.totals;
    ++series;
    if (totals.gaps() > 0) {
      if (withGaps++ == 0 && one.entity != nullptr) first = pageText(one.entity->getName());
      gaps += totals.gaps();
      ticks += totals.gapTicks();
    }
    if (totals.longIntervals() > longIntervals) {
      longIntervals = totals.longIntervals();
      usualLength = totals.usualLength();
    }
  }
};

std::string gapLine(const std::string& metric, const Missing& missing, double ticksPerSecond) {
  std::string line = metric + ": " + counted(missing.gaps, "gap") + " of " +
                     inSeconds(static_cast<double>(missing.ticks) / ticksPerSecond) + " in all";
  if (missing.series > 1) {
    line += ", in " + std::to_string(missing.withGaps) + " of " + std::to_string(missing.series) +
            " series";
  }
  return line + (missing.first.empty() ? "" : ", the first of " + missing.first);
}

void tellOfMissing(const SeriesStore& store, const SeriesRecorder& recorder,
                   std::vector<std::string>& warnings) {
  std::map<const MetricSeries*, Missing> byMetric;
  for (const PageSeries& series : store.all()) byMetric[series.metric].add(series);
  Lines gaps(warnings);
  const MetricSeries* mostLong = nullptr;
  for (const MetricSeries& metric : recorder.metrics()) {
    const auto found = byMetric.find(&metric);
    if (found == byMetric.end()) continue;
    const Missing& missing = found->second;
    if (missing.gaps > 0) {
      gaps.add(gapLine(pageText(metric.metric->name), missing, store.ticksPerSecond()));
    }
    if (missing.longIntervals == 0) continue;
    if (mostLong == nullptr || byMetric[mostLong].longIntervals < missing.longIntervals) {
      mostLong = &metric;
    }
  }
  gaps.finish("metrics with gaps");
  if (mostLong == nullptr) return;
  const Missing& missing = byMetric[mostLong];
  warnings.push_back(counted(missing.longIntervals, "interval") + " of " +
                     pageText(mostLong->metric->name) +
                     (missing.longIntervals == 1 ? " is" : " are") + " longer than the usual " +
                     inSeconds(missing.usualLength / store.ticksPerSecond()) +
                     ": samples between are missing, counters go on over them");
}

void tellOfSeries(const SeriesStore& store, std::vector<std::string>& warnings) {
  std::size_t aggregates = 0;
  std::size_t members = 0;
  for (const PageSeries* const series : store.shown()) {
    if (series->members == 0) continue;
    ++aggregates;
    members += series->members;
  }
  if (aggregates > 0) {
    warnings.push_back(std::to_string(members) + " of " + std::to_string(store.all().size()) +
                       " series are not on this page by themselves, but together in " +
                       counted(aggregates, "aggregate"));
  }
  if (store.leftOut() > 0) {
    warnings.push_back(std::to_string(store.leftOut()) +
                       " further series are not on this page: they are too many");
  }
  if (!store.isBinned()) return;
  std::size_t points = 0;
  for (const PageSeries& series : store.all()) points += series.totals.points();
  warnings.push_back(
      "The run does not fit this page as it came: its " + std::to_string(points) +
      " points are told as minimum, mean and maximum, or shares of states, of bins of " +
      inSeconds(static_cast<double>(store.binned().grid().width()) / store.ticksPerSecond()));
}

void tellOfValues(const SeriesStore& store, const SeriesRecorder& recorder,
                  std::vector<std::string>& warnings) {
  const std::size_t before = store.isBinned() ? store.binned().beforeOrigin() : 0;
  const std::size_t after = store.isBinned() ? store.binned().afterEnd() : 0;
  const std::size_t shortened = store.isBinned() ? store.binned().shortened() : 0;
  const std::array<std::pair<std::size_t, const char*>, 5> lines{{
      {recorder.notFinite(), "Values that are left out, because they are not finite: "},
      {recorder.outOfRange(), "Values that are left out, because their times are too far away: "},
      {before, "Points that are not in the picture, because they are long before its start: "},
      {after, "Points that are not in the picture, because they are behind its end: "},
      {shortened, "Points that are shortened, because those of their series overlap: "},
  }};
  for (const auto& [count, text] : lines) {
    if (count > 0) warnings.push_back(text + std::to_string(count));
  }
}

void tellOfTexts(const SeriesRecorder& recorder, const PageTables& tables,
                 std::vector<std::string>& warnings) {
  Lines lines(warnings);
  for (const MetricSeries& metric : recorder.metrics()) {
    if (!metric.states.isFull() && !metric.texts.isFull()) continue;
    lines.add(pageText(metric.metric->name) +
              " has more different values than this page names; further ones are \"others\"");
  }
  lines.finish("metrics with too many different values");
  if (tables.rowsLeftOut() > 0) {
    warnings.push_back("The report's tables are cut: " + counted(tables.rowsLeftOut(), "row") +
                       " left out");
  }
  if (tables.tablesLeftOut() > 0) {
    warnings.push_back(counted(tables.tablesLeftOut(), "table") +
                       " of the report left out: there is no room on this page");
  }
}

}  // namespace

std::vector<std::string> warningsOf(const pwr::SystemMetadata* system, const SeriesStore& store,
                                    const SeriesRecorder& recorder, const PageTables& tables) {
  std::vector<std::string> warnings;
  if (g_pluginEnvironment->isRunIncomplete()) {
    warnings.emplace_back("The run is incomplete: what follows its last point is missing");
  }
  if (system != nullptr) tellOfLosses(*system, warnings);
  tellOfMissing(store, recorder, warnings);
  tellOfValues(store, recorder, warnings);
  tellOfSeries(store, warnings);
  tellOfTexts(recorder, tables, warnings);
  return warnings;
}
