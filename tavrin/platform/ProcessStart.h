#pragma once

#include <string>
#include <vector>

namespace tavrin {

/// Makes the process the same on Linux and Windows and for every caller: the standard streams carry
/// bytes as they are, and what the caller has closed or ignores does no harm. Returns the arguments
/// (in UTF-8 on Windows, as they are elsewhere), without the name of the program.
std::vector<std::string> startProcess(int argc, char** argv);

}  // namespace tavrin
