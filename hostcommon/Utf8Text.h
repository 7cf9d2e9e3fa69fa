#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

/// Text that comes from outside (file names, arguments, the system's files) and need not be UTF-8.
namespace pwr {

/// Number of bytes of the character at the start of `text`; 0 where there is no valid UTF-8.
inline std::size_t utf8Size(std::string_view text) {
  const auto byte = [text](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned int first = byte(0);
  if (text.empty() || (first >= 0x80 && first < 0xC2) || first > 0xF4) return 0;
  if (first < 0x80) return 1;
  const std::size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  // Shorter forms exist of what is below; what is above are surrogates, or nothing at all.
  const unsigned int lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const unsigned int highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (byte(1) < lowest || byte(1) > highest) return 0;
  for (std::size_t i = 2; i < size; ++i) {
    if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
  }
  return size;
}

/// The text with U+FFFD in the place of every byte that is not UTF-8.
inline std::string validUtf8(std::string_view text) {
  std::string valid;
  valid.reserve(text.size());
  const auto isAscii = [](char letter) { return static_cast<unsigned char>(letter) < 0x80; };
  while (!text.empty()) {
    // Most texts have nothing else.
    const auto ascii =
        static_cast<std::size_t>(std::ranges::find_if_not(text, isAscii) - text.begin());
    const std::size_t size = ascii == 0 ? utf8Size(text) : ascii;
    valid.append(size == 0 ? std::string_view("\xEF\xBF\xBD") : text.substr(0, size));
    text.remove_prefix(size == 0 ? 1 : size);
  }
  return valid;
}

}  // namespace pwr
