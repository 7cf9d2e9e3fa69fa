#include "tavrin/common/PlainText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>

#include "hostcommon/Utf8Text.h"

namespace tavrin {

namespace {

/// Whether a terminal shows the character: it is valid and none that controls (C0, DEL, C1).
bool isShown(std::string_view character) {
  const auto byte = [character](std::size_t i) { return static_cast<unsigned char>(character[i]); };
  if (character.size() == 1) return byte(0) >= 0x20 && byte(0) != 0x7F;
  return character.size() > 2 || byte(0) > 0xC2 || byte(1) >= 0xA0;
}

void appendHex(std::string& out, std::string_view bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  for (const char letter : bytes) {
    const auto byte = static_cast<unsigned char>(letter);
    out += {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
  }
}

/// Copies what is shown, in which `quoted` get a backslash; the rest becomes "\xNN".
std::string withEscapes(std::string_view text, std::string_view quoted) {
  std::string out;
  while (!text.empty()) {
    const std::size_t valid = pwr::utf8Size(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(valid, 1));
    if (valid == 0 || !isShown(character)) {
      appendHex(out, character);
    } else {
      if (quoted.find(character.front()) != std::string_view::npos) out += '\\';
      out += character;
    }
    text.remove_prefix(character.size());
  }
  return out;
}

std::string shellWord(const std::string& word) {
  constexpr const char* kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_@%+=:,./-";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  if (escaped(word) != word) return "$'" + withEscapes(word, "\\'") + "'";
  std::string quoted = "'";
  for (const char letter : word) letter == '\'' ? quoted += "'\\''" : quoted += letter;
  return quoted += '\'';
}

}  // namespace

std::string escaped(std::string_view text) {
  return withEscapes(text, "");
}

std::string shellLine(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words)
    line.append(line.empty() ? "" : " ").append(shellWord(word));
  return line;
}

std::string joined(const std::vector<std::string>& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) text.append(text.empty() ? "" : between).append(word);
  return text;
}

std::string plainNumber(double number) {
  // As many digits as a double can have before its point, or behind it.
  std::array<char, 400> text;
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed).ptr;
  return {text.data(), end};
}

}  // namespace tavrin
