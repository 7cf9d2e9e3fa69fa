#pragma once

#include <exception>
#include <fstream>
#include <string>

namespace tavrin {

/// Opens a file for reading. Its name is UTF-8 on every system. Throws CommandError.
std::ifstream openFile(const std::string& name);

/// Throws the CommandError of a file that is not sound, after what was printed of it.
[[noreturn]] void rejectFile(const std::string& name, const std::exception& fault);

}  // namespace tavrin
