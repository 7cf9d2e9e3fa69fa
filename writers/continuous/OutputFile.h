#pragma once

#include <string>
#include <string_view>

/// The name, or an empty one when it is longer than the 1023 bytes that there are for it: cut, it
/// would be that of some other file.
std::string wholeFileName(const std::string& name);

/// Writes a whole file through the host's output handles. Returns 1, saying nothing, when it cannot
/// be written completely; what was written is removed then, since half a document is none.
int writeOutputFile(const std::string& name, std::string_view text);
