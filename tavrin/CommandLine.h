#pragma once

namespace tavrin {

/// Parses the command line and runs the command that it names. Returns the exit status; throws
/// CommandError where the command fails. Prints help, version and usage errors itself.
int runCommandLine(int argc, char** argv);

}  // namespace tavrin
