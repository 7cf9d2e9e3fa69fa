#include "tavrin/OptionValues.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

#include "tavrin/common/PlainText.h"
#include "tavrin/common/WallTime.h"

namespace tavrin {

namespace {

/// The seconds that a unit of time has; 0 for an unknown one.
double secondsOfUnit(std::string_view unit) {
  constexpr std::pair<std::string_view, double> kUnits[] = {
      {"us", 1e-6},  {"ms", 1e-3},  {"s", 1.0},    {"m", 60.0},
      {"min", 60.0}, {"h", 3600.0}, {"d", 86400.0}};
  for (const auto& [name, seconds] : kUnits) {
    if (name == unit) return seconds;
  }
  return 0.0;
}

}  // namespace

CLI::Validator sizeIn(std::uint64_t least, std::uint64_t most) {
  const auto convert = [=](std::string& text) -> std::string {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const std::string_view suffix(rest, end);
    const std::uint64_t unit = suffix == "G"   ? 1'000'000'000
                               : suffix == "M" ? 1'000'000
                               : suffix == "K" ? 1'000
                                               : 1;
    if (error != std::errc() || (unit == 1 && !suffix.empty())) {
      return "'" + text + "' is not a size such as 3M, 500K or a number of bytes";
    }
    if (number < least / unit || number > most / unit) {
      return "'" + text + "' is not from " + std::to_string(least) + " to " + std::to_string(most) +
             " bytes";
    }
    text = std::to_string(number * unit);
    return {};
  };
  return {convert, ""};
}

CLI::Validator timeIn(const std::string& unit, double least, double most) {
  const auto convert = [=](std::string& text) -> std::string {
    double number = 0.0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const double given = rest == end ? secondsOfUnit(unit) : secondsOfUnit({rest, end});
    if (error != std::errc() || given == 0.0) {
      return "'" + text + "' is not a time such as 500ms, 10s, 2m or a number of " + unit;
    }
    // To the nanosecond: 0.1 s are 100 ms, not a little more.
    const double value = std::round(number * given * 1e9) / 1e9 / secondsOfUnit(unit);
    if (!(value >= least && value <= most)) {
      return "'" + text + "' is not from " + plainNumber(least) + " to " + plainNumber(most) + " " +
             unit;
    }
    text = plainNumber(value);
    return {};
  };
  return {convert, ""};
}

CLI::Validator keepBound() {
  const auto convert = [](std::string& text) -> std::string {
    std::string age = text;
    std::string size = text;
    const bool hasUnit = !text.empty() && (text.back() < '0' || text.back() > '9');
    const bool isAge = hasUnit && timeIn("s", 1, 1e10)(age).empty();
    if (!isAge && (!hasUnit || !sizeIn(1, 1'000'000'000'000'000)(size).empty())) {
      return "'" + text + "' is neither an age such as 7d, 48h nor a size such as 2G, 500M";
    }
    text = isAge ? age + "s" : size + "B";
    return {};
  };
  return {convert, ""};
}

CLI::Validator wallTime() {
  const auto convert = [](std::string& text) -> std::string {
    const std::optional<std::uint64_t> nanoseconds = parseWallTime(text);
    if (!nanoseconds) {
      return "'" + text +
             "' is not a time such as 2026-11-22T19:00:00Z, 2026-11-22T20:00:00.5+01:00 "
             "or a number of seconds since 1970";
    }
    text = std::to_string(*nanoseconds);
    return {};
  };
  return {convert, ""};
}

}  // namespace tavrin
