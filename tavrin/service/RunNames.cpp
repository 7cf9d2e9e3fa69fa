#include "tavrin/service/RunNames.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>

namespace tavrin {

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kStart = "-dddddddd-dddddd-ddd";  // d stands for a digit

bool isOfStart(char letter, char wanted) {
  return wanted == 'd' ? kDigits.find(letter) != std::string_view::npos : letter == wanted;
}

}  // namespace

std::string startSuffix() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto milliseconds =
      std::chrono::floor<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "-%Y%m%d-%H%M%S-", &parts);
  return std::string(text.data(), size) + std::to_string(1000 + milliseconds).substr(1);
}

std::string_view restOfRunName(std::string_view name, std::string_view stem) {
  if (!name.starts_with(stem)) return {};
  const std::string_view rest = name.substr(stem.size());
  if (rest.size() <= kStart.size()) return {};
  const std::string_view start = rest.substr(0, kStart.size());
  if (!std::ranges::equal(start, kStart, isOfStart)) return {};
  const char next = rest[kStart.size()];
  return next == '_' || next == '.' ? rest.substr(kStart.size()) : std::string_view();
}

bool isNumberedRest(std::string_view rest) {
  const std::size_t end = rest.find_first_not_of(kDigits, 1);
  return rest.starts_with('_') && end != std::string_view::npos && end > 1 && rest[end] == '.';
}

}  // namespace tavrin
