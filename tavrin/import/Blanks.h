#pragma once

#include <algorithm>
#include <string_view>

namespace tavrin {

inline constexpr std::string_view kBlanks = " \t\r\n";

inline std::string_view withoutBlanksBefore(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

inline std::string_view withoutBlanksBehind(std::string_view text) {
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

}  // namespace tavrin
