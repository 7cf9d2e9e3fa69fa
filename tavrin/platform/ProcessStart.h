#pragma once

#include <string>
#include <vector>

namespace tavrin {

/// Makes the process the same on Linux and Windows: the standard streams carry bytes as they are,
/// and all text is UTF-8. Returns the arguments, without the name of the program.
std::vector<std::string> startProcess(int argc, char** argv);

}  // namespace tavrin
