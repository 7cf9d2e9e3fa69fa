#include "tavrin/compare/Comparison.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>
#include <set>
#include <tuple>

#include "tavrin/common/Glob.h"
#include "tavrin/compare/RankTest.h"

namespace tavrin {

namespace {

bool isSameRun(const RunFacts& a, const RunFacts& b) {
  if (a.startNs != 0 && b.startNs != 0) return a.startNs == b.startNs;
  return a.startTicks != 0 && a.startTicks == b.startTicks;
}

using Figures = std::map<FigureKey, ComparedFigure>;

/// Adds what the runs of one side have.
void collect(const std::vector<ComparedRun>& runs, const std::vector<std::string>& patterns,
             std::optional<SideFigure> ComparedFigure::*side, Figures& figures) {
  for (const ComparedRun& run : runs) {
    for (const auto& [key, figure] : run.figures) {
      if (!patterns.empty() && !matchesAnyGlob(patterns, key.metric)) continue;
      ComparedFigure& compared = figures[key];
      compared.unit = figure.unit;
      compared.isEnergy = figure.isEnergy;
      std::optional<SideFigure>& values = compared.*side;
      if (!values) values.emplace();
      values->values.push_back(figure.value);
      values->seconds += figure.seconds;
    }
  }
}

void complete(SideFigure& side) {
  const auto count = static_cast<double>(side.values.size());
  side.mean = std::accumulate(side.values.begin(), side.values.end(), 0.0) / count;
  const auto [least, most] = std::ranges::minmax(side.values);
  side.spread = most - least;
  side.seconds /= count;
}

void complete(ComparedFigure& figure) {
  if (figure.before) complete(*figure.before);
  if (figure.after) complete(*figure.after);
  if (!figure.isInBoth()) return;
  figure.difference = figure.after->mean - figure.before->mean;
  if (figure.before->mean != 0.0) {
    figure.percent = 100.0 * figure.difference / std::abs(figure.before->mean);
  }
  figure.spread = std::max(figure.before->spread, figure.after->spread);
  figure.exceedsSpread = std::abs(figure.difference) > figure.spread;
}

void judge(std::vector<ComparedFigure>& figures) {
  const auto hasVerdict = [](const ComparedFigure& figure) {
    return figure.isInBoth() &&
           std::min(figure.before->values.size(), figure.after->values.size()) >= kFewestForVerdict;
  };
  std::vector<ComparedFigure*> judged;
  std::vector<double> chances;
  for (ComparedFigure& figure : figures) {
    if (!hasVerdict(figure)) continue;
    judged.push_back(&figure);
    chances.push_back(rankTest(figure.before->values, figure.after->values));
  }
  chances = adjustForMany(chances);
  for (std::size_t i = 0; i < judged.size(); ++i) judged[i]->chance = chances[i];
}

/// From 0 to 2, where nothing became something or turned its sign.
double relativeChange(const ComparedFigure& figure) {
  const double larger = std::max(std::abs(figure.before->mean), std::abs(figure.after->mean));
  return larger > 0.0 ? std::abs(figure.difference) / larger : 0.0;
}

/// What sorts by how much changed.
auto importanceOf(const ComparedFigure& figure) {
  if (!figure.isInBoth()) return std::tuple(false, false, false, 0.0);
  return std::tuple(true, figure.isReal().value_or(false), figure.exceedsSpread,
                    relativeChange(figure));
}

}  // namespace

std::vector<ComparedRun> mergeFilesOfRuns(std::vector<ComparedRun> files) {
  std::vector<ComparedRun> runs;
  for (ComparedRun& file : files) {
    const auto run = std::ranges::find_if(
        runs, [&](const ComparedRun& each) { return isSameRun(each.facts, file.facts); });
    if (run == runs.end()) {
      runs.push_back(std::move(file));
    } else {
      run->figures.merge(file.figures);
    }
  }
  return runs;
}

std::vector<ComparedFigure> compareRuns(const std::vector<ComparedRun>& before,
                                        const std::vector<ComparedRun>& after,
                                        const std::vector<std::string>& metricPatterns) {
  Figures byKey;
  collect(before, metricPatterns, &ComparedFigure::before, byKey);
  collect(after, metricPatterns, &ComparedFigure::after, byKey);
  std::vector<ComparedFigure> figures;
  for (auto& [key, figure] : byKey) {
    complete(figure);
    figure.key = key;
    figures.push_back(std::move(figure));
  }
  judge(figures);
  std::ranges::stable_sort(figures, std::ranges::greater(), importanceOf);
  return figures;
}

std::vector<std::string> linesOfDifferentFacts(const std::vector<ComparedRun>& before,
                                               const std::vector<ComparedRun>& after) {
  struct Fact {
    const char* name;
    std::string RunFacts::*text;
  };
  constexpr Fact kFacts[] = {{"host", &RunFacts::host},
                             {"processor", &RunFacts::processor},
                             {"operating system", &RunFacts::system},
                             {"timestamp clock", &RunFacts::clock}};
  std::vector<std::string> lines;
  for (const Fact& fact : kFacts) {
    const auto textsOf = [&](const std::vector<ComparedRun>& runs) {
      std::set<std::string> texts;
      for (const ComparedRun& run : runs) texts.insert(run.facts.*fact.text);
      std::string all;
      for (const std::string& text : texts) all += (all.empty() ? "'" : "', '") + text;
      return all + "'";
    };
    const std::string texts[] = {textsOf(before), textsOf(after)};
    const bool isOne = texts[0].find("', '") == std::string::npos;
    if (texts[0] == texts[1] && isOne) continue;
    lines.push_back(std::string("not the same ") + fact.name + ": " + texts[0] + " and " +
                    texts[1]);
  }
  return lines;
}

std::optional<ChangeBound> ChangeBound::parse(std::string_view text) {
  ChangeBound bound;
  if (text.starts_with('+') || text.starts_with('-')) {
    bound.countsMore_ = text.front() == '+';
    bound.countsLess_ = !bound.countsMore_;
    text.remove_prefix(1);
  }
  if (text.ends_with('%')) text.remove_suffix(1);
  const char* const end = text.data() + text.size();
  const auto [rest, error] =
      std::from_chars(text.data(), end, bound.percent_, std::chars_format::fixed);
  if (error != std::errc() || rest != end || !(bound.percent_ >= 0.0)) return std::nullopt;
  return bound;
}

bool ChangeBound::isPassedBy(const ComparedFigure& figure) const {
  if (!figure.isInBoth() || !figure.exceedsSpread || !figure.isReal().value_or(true)) return false;
  if (figure.difference > 0.0 ? !countsMore_ : !countsLess_) return false;
  // Something where there was nothing is more than any share of it.
  return !figure.percent || std::abs(*figure.percent) > percent_;
}

}  // namespace tavrin
