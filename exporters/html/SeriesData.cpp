#include "exporters/html/SeriesData.h"

#include <algorithm>
#include <map>
#include <vector>

#include "exporters/html/LevelColumns.h"

namespace {

using Visit = ColumnWriter::Visit;

std::size_t statesIn(const PointLog& log) {
  std::size_t states = 0;
  log.forEach([&](const PagePoint& point) { states = std::max(states, point.ticks.size()); });
  return states;
}

/// Several states at a time: going through the log for each of thousands would take too long.
std::string ticksColumns(const PointLog& log, std::size_t states, ColumnWriter& columns) {
  constexpr std::size_t kNumbersAtOnce = std::size_t{1} << 20U;
  const std::size_t block = std::max<std::size_t>(1, kNumbersAtOnce / log.count());
  std::string list;
  for (std::size_t first = 0; first < states; first += block) {
    std::vector<std::vector<double>> ticks(std::min(block, states - first));
    log.forEach([&](const PagePoint& point) {
      for (std::size_t n = 0; n < ticks.size(); ++n) {
        ticks[n].push_back(first + n < point.ticks.size() ? point.ticks[first + n] : 0.0);
      }
    });
    for (const std::vector<double>& column : ticks) {
      list += (list.empty() ? "" : ",") + columns.numbers("ticks", [&](const Visit& visit) {
        for (const double one : column) visit(one);
      });
    }
  }
  return "\"ticks\":[" + list + "]";
}

/// The texts' own numbers, in the order of their appearance in this series.
std::map<std::uint32_t, std::uint32_t> localTexts(const PageSeries& series) {
  std::map<std::uint32_t, std::uint32_t> local;
  series.log.forEach([&](const PagePoint& point) {
    local.try_emplace(static_cast<std::uint32_t>(point.value),
                      static_cast<std::uint32_t>(local.size()));
  });
  return local;
}

std::string valueColumn(const PageSeries& series, ColumnWriter& columns) {
  const bool isText = series.kind == SeriesKind::Events && series.members == 0;
  const auto local = isText ? localTexts(series) : std::map<std::uint32_t, std::uint32_t>();
  const char* const name = series.kind == SeriesKind::States ? "state" : "value";
  return std::string("\"") + name + "\":" + columns.numbers(name, [&](const Visit& visit) {
    series.log.forEach([&](const PagePoint& point) {
      visit(isText ? local.at(static_cast<std::uint32_t>(point.value)) : point.value);
    });
  });
}

}  // namespace

std::string exactData(const PageSeries& series, ColumnWriter& columns) {
  const PointLog& log = series.log;
  std::string data = "\"start\":" + columns.numbers("start", [&](const Visit& visit) {
    log.forEach([&](const PagePoint& point) { visit(static_cast<double>(point.start)); });
  });
  data += ",\"length\":" + columns.numbers("length", [&](const Visit& visit) {
    log.forEach([&](const PagePoint& point) { visit(static_cast<double>(point.length)); });
  });
  const std::size_t states = statesIn(log);
  return data + "," +
         (states > 0 ? ticksColumns(log, states, columns) : valueColumn(series, columns));
}

std::vector<std::string> textsOf(const PageSeries& series) {
  const auto local = localTexts(series);
  std::vector<std::string> texts(local.size());
  for (const auto& [number, place] : local) texts[place] = series.metric->texts.texts()[number];
  return texts;
}

std::vector<PageLevel> levelsOf(const SeriesStore& store) {
  constexpr std::size_t kFewest = 64;
  const BinGrid& grid = store.binned().grid();
  PageLevel level{static_cast<double>(grid.width()) / store.ticksPerSecond(),
                  grid.binsTo(store.duration())};
  std::vector<PageLevel> levels{level};
  while (level.bins > kFewest) {
    level = {level.binSeconds * PageLevel::kStep,
             (level.bins + PageLevel::kStep - 1) / PageLevel::kStep};
    levels.push_back(level);
  }
  return levels;
}

std::string binnedData(const SeriesStore& store, const PageSeries& series, ColumnWriter& columns) {
  const LevelColumns levels(store.binned().grid(), levelsOf(store), store.duration(),
                            store.ticksPerSecond());
  switch (series.kind) {
    case SeriesKind::Value:
      return levels.ofValues(series, columns);
    case SeriesKind::States:
      return levels.ofStates(series, columns);
    default:
      return levels.ofEvents(series, columns);
  }
}
