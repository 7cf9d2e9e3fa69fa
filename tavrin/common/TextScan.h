#pragma once

#include <algorithm>
#include <charconv>
#include <concepts>
#include <string_view>

namespace tavrin {

/// Splits the next line off `text` and returns it without its line break.
inline std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

inline std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kTrimmed{" \t\r\n\0", 5};  // device-tree texts end with a NUL
  const std::size_t first = text.find_first_not_of(kTrimmed);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kTrimmed) - first + 1);
}

constexpr bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

/// Takes what is before the next blank, and the blanks before that, off the front of `text`.
inline std::string_view takeWord(std::string_view& text) {
  // Not by find_first_of, which looks among the blanks anew for each character: that was half of
  // what the features of texts did outside the kernel.
  const char* const end = text.data() + text.size();
  const char* const first = std::find_if_not(text.data(), end, isBlank);
  const char* const last = std::find_if(first, end, isBlank);
  text.remove_prefix(static_cast<std::size_t>(last - text.data()));
  return {first, last};
}

/// Takes a decimal number, and the blanks before it, off the front of `text`. Returns false,
/// leaving `text` and `value` alone, when there is none or it does not fit.
template <std::integral Number>
bool takeNumber(std::string_view& text, Number& value) {
  const char* const last = text.data() + text.size();
  const char* const first = std::find_if_not(text.data(), last, isBlank);
  const auto [end, error] = std::from_chars(first, last, value);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

}  // namespace tavrin
