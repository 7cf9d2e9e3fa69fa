#include "tavrin/common/Glob.h"

#include <algorithm>

namespace tavrin {

bool matchesGlob(std::string_view pattern, std::string_view text) {
  constexpr std::size_t kNone = std::string_view::npos;
  std::size_t place = 0;
  std::size_t star = kNone;  // the last one seen
  std::size_t starEnd = 0;   // where in the text what it stands for ends
  for (std::size_t at = 0; at < text.size();) {
    if (place < pattern.size() && pattern[place] == '*') {
      star = place++;
      starEnd = at;
    } else if (place < pattern.size() && (pattern[place] == '?' || pattern[place] == text[at])) {
      ++place;
      ++at;
    } else if (star != kNone) {
      // Only the last star can be to blame: it takes one more.
      place = star + 1;
      at = ++starEnd;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', place) == kNone;
}

bool matchesAnyGlob(const std::vector<std::string>& patterns, std::string_view text) {
  return std::ranges::any_of(
      patterns, [&](const std::string& pattern) { return matchesGlob(pattern, text); });
}

}  // namespace tavrin
