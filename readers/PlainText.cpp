#include "readers/PlainText.h"

#include <charconv>
#include <iterator>

namespace {

template <typename Real>
std::string shortest(Real value) {
  char text[48];
  const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
  return {text, end};
}

}  // namespace

std::string printable(std::string_view text) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string safe;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte >= 0x20 && byte != 0x7F && letter != '\\') {
      safe += letter;
    } else {
      safe += {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
    }
  }
  return safe;
}

std::string inQuotes(std::string_view text) {
  constexpr std::size_t kMost = 80;
  return "\"" + std::string(text.substr(0, kMost)) + (text.size() > kMost ? "\"..." : "\"");
}

std::string numberText(double value) {
  return shortest(value);
}

std::string numberText(float value) {
  return shortest(value);
}
