#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tavrin/compare/RunFigures.h"

namespace tavrin {

/// From so many runs on each side on there is a verdict.
inline constexpr std::size_t kFewestForVerdict = 4;
/// Of the changes that are called real, at most this share is expected not to be.
inline constexpr double kFalseDiscoveries = 0.05;

/// A figure in the runs of one side that have it.
struct SideFigure {
  std::vector<double> values;  ///< one at least
  double mean = 0.0;
  double spread = 0.0;   ///< from the least to the largest value
  double seconds = 0.0;  ///< that were measured, in the mean; 0 where that is unknown
};

struct ComparedFigure {
  FigureKey key;
  std::string unit;
  bool isEnergy = false;
  /// Nothing where no run of the side has the figure; never on both.
  std::optional<SideFigure> before;
  std::optional<SideFigure> after;
  // Where both have it:
  double difference = 0.0;
  std::optional<double> percent;  ///< of the mean before; nothing where that is 0
  double spread = 0.0;            ///< the larger one
  bool exceedsSpread = false;
  /// How probable such a difference is by chance alone (rank test), adjusted for the number of
  /// figures; nothing with fewer runs than a verdict needs.
  std::optional<double> chance;

  bool isInBoth() const { return before.has_value() && after.has_value(); }
  /// Whether the change is real, as far as the runs can tell: nothing without a verdict.
  std::optional<bool> isReal() const {
    if (!chance) return std::nullopt;
    return *chance < kFalseDiscoveries;
  }
};

/// Files of one run become one: what several have is taken from the first of them.
std::vector<ComparedRun> mergeFilesOfRuns(std::vector<ComparedRun> files);

/// All figures of the runs whose metric matches one of the patterns (all for none), sorted by what
/// changed most: what is real first, then what exceeds the spread, by the change relative to the
/// larger mean; last, what only one side has.
std::vector<ComparedFigure> compareRuns(const std::vector<ComparedRun>& before,
                                        const std::vector<ComparedRun>& after,
                                        const std::vector<std::string>& metricPatterns);

/// A line for each fact (machine, system, clock) that is not the same in all runs.
std::vector<std::string> linesOfDifferentFacts(const std::vector<ComparedRun>& before,
                                               const std::vector<ComparedRun>& after);

/// A change that is too much: "+5%" (more), "-5%" (less) or "5%" (either).
class ChangeBound {
 public:
  /// Nothing when the text is none.
  static std::optional<ChangeBound> parse(std::string_view text);

  /// Whether the change is beyond the bound, exceeds the spread, and is not called chance.
  bool isPassedBy(const ComparedFigure& figure) const;

 private:
  double percent_ = 0.0;
  bool countsMore_ = true;
  bool countsLess_ = true;
};

}  // namespace tavrin
