#pragma once

#include <string>
#include <string_view>

/// Writes a whole file through the host's output handles. Returns 1, saying nothing, when it cannot
/// be written completely; what was written is removed then, since half a document is none.
int writeOutputFile(const std::string& name, std::string_view text);
