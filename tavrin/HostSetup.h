#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tavrin/Options.h"

namespace tavrin {

/// Sets verbosity and debug switches, raises the limit of open files and loads the output
/// configuration: the file that the user named, else the one that was installed with the tool.
/// Throws CommandError when that file is faulty.
void setUpHost(const Options& options);

/// Prints the files of a finished run: those whose name begins with the base name and that were
/// written since `since`.
void listOutputs(const std::string& baseName, std::chrono::system_clock::time_point since);

/// The exit status of a run with these incomplete outputs, after telling the user of them.
int reportIncomplete(const std::vector<std::string>& incomplete);

}  // namespace tavrin
