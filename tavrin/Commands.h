#pragma once

#include <string>
#include <vector>

#include "tavrin/Options.h"

namespace tavrin {

/// Runs the command that the arguments name; the name of the program is none of them. Returns the
/// exit status; throws CommandError where the command fails. Prints help, version and usage errors
/// itself.
int runCommandLine(std::vector<std::string> arguments);

/// The commands. Each returns the process's exit status, or throws CommandError.
int runRecord(const Options& options);
int runWatch(const Options& options);
int runServe(const Options& options);
int runReport(const Options& options);
int runExport(const Options& options);
int runCompare(const Options& options);
int runList(const Options& options);
int runDoctor(const Options& options);
int runInspect(const Options& options);
int runShip(const Options& options);

}  // namespace tavrin
