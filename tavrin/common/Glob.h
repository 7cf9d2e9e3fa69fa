#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// Whether the whole text is as the pattern says: "*" stands for any bytes or none, "?" for one,
/// everything else for itself. Takes time of at most the product of both lengths.
bool matchesGlob(std::string_view pattern, std::string_view text);

/// Whether one of the patterns matches.
bool matchesAnyGlob(const std::vector<std::string>& patterns, std::string_view text);

}  // namespace tavrin
