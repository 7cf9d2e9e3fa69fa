#pragma once

#include <string>
#include <vector>

#include "tavrin/compare/Comparison.h"

namespace tavrin {

/// A comparison as text for a terminal: lines that tell the runs, then one of each figure that
/// changed, at most `mostRows` (0: all), and how many are not among them.
std::string compareText(const std::vector<ComparedRun>& before,
                        const std::vector<ComparedRun>& after,
                        const std::vector<ComparedFigure>& figures, std::size_t mostRows);

/// A line of each figure behind a head. What is not there is an empty cell. Numbers have all of
/// their digits; the spread is that of the side, `spread` the larger one.
std::string compareCsv(const std::vector<ComparedFigure>& figures);

/// An object with the facts and the runs' lengths of each side and the figures, in which what is
/// not there is null.
std::string compareJson(const std::vector<ComparedRun>& before,
                        const std::vector<ComparedRun>& after,
                        const std::vector<ComparedFigure>& figures);

}  // namespace tavrin
