#include "exporters/html/PageText.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "hostcommon/NumberText.h"
#include "hostcommon/Utf8Text.h"

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return (byte < 0x20 && character != '\n' && character != '\t') || byte == 0x7F;
}

}  // namespace

std::string pageText(std::string_view text, std::size_t most) {
  std::string shown;
  shown.reserve(std::min(text.size(), most + kEllipsis.size()));
  while (!text.empty()) {
    if (shown.size() >= most) return shown.append(kEllipsis);
    const std::size_t size = pwr::utf8Size(text);
    const bool isShown = size > 0 && !isControl(text.front());
    shown.append(isShown ? text.substr(0, size) : kReplacement);
    text.remove_prefix(std::max<std::size_t>(size, 1));
  }
  return shown;
}

std::string withoutMarkup(std::string_view json) {
  std::string safe;
  safe.reserve(json.size());
  for (std::size_t place = json.find('<'); place != std::string_view::npos;
       place = json.find('<')) {
    safe.append(json.substr(0, place)).append("\\u003c");
    json.remove_prefix(place + 1);
  }
  return safe.append(json);
}

std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (; !bytes.empty(); bytes.remove_prefix(std::min<std::size_t>(bytes.size(), 3))) {
    std::array<unsigned int, 3> group{};
    for (std::size_t n = 0; n < std::min<std::size_t>(bytes.size(), 3); ++n) {
      group[n] = static_cast<unsigned char>(bytes[n]);
    }
    const unsigned int bits = group[0] << 16U | group[1] << 8U | group[2];
    for (std::size_t n = 0; n < 4; ++n) {
      text += n <= bytes.size() ? kDigits[bits >> (18 - 6 * n) & 0x3FU] : '=';
    }
  }
  return text;
}

std::string jsonNumber(double number) {
  if (!std::isfinite(number)) return "null";
  std::string text;
  pwr::appendShortest(text, number);
  return text;
}
