#pragma once

#include <string>
#include <vector>

namespace tavrin {

/// Runs the command that the arguments name; the name of the program is none of them. Returns the
/// exit status; throws CommandError where the command fails. Prints help, version and usage errors
/// itself.
int runCommandLine(std::vector<std::string> arguments);

}  // namespace tavrin
