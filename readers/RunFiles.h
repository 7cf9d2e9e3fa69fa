#pragma once

#include <string>
#include <vector>

namespace tavrin {

/// The files of one run, in the order in which they were written: one, or those that a continuous
/// run has numbered.
using RunFiles = std::vector<std::string>;

/// Which of the files belong to one run: those that are called BASE_N and differ in N alone, unless
/// one of them stands for itself. Runs stand in the order of their first files, the files of a run
/// by number, whatever order they have here. Throws ResultError when a file cannot be read, or when
/// one that a run needs is not among them. Files that each stand for itself may be of one run, too:
/// binary streams that tell the same start, of a collection that goes on.
std::vector<RunFiles> sortIntoRuns(const std::vector<std::string>& names);

/// A file with those that follow it in its folder, as far as they are of its run: of a numbered one
/// all with higher numbers up to the first that is missing or was left over from another run.
RunFiles withFollowing(const std::string& name);

/// What to call the files of a run.
std::string titleOf(const RunFiles& run);

}  // namespace tavrin
