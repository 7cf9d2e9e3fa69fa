#include "writers/common/StateDepth.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>

namespace {

using Depth = std::optional<double>;

struct NamedDepth {
  std::string_view name;  // lower case
  double depth;
};

constexpr std::array<NamedDepth, 27> kNamedDepths{{
    {"active", 0.0},  {"running", 0.0},       {"busy", 0.0},     {"on", 0.0},
    {"boost", 0.0},   {"turbo", 0.0},         {"working", 0.0},  {"user", 0.0},
    {"guest", 0.0},   {"poll", 0.05},         {"nice", 0.15},    {"system", 0.3},
    {"kernel", 0.3},  {"irq", 0.4},           {"softirq", 0.45}, {"throttled", 0.5},
    {"halt", 0.5},    {"wfi", 0.5},           {"steal", 0.55},   {"iowait", 0.7},
    {"idle", 0.8},    {"haltpoll idle", 0.8}, {"sleep", 0.9},    {"standby", 0.9},
    {"suspend", 1.0}, {"suspended", 1.0},     {"off", 1.0},
}};

/// States that are counted: the number of a state follows the prefix.
struct Family {
  std::string_view prefix;  // lower case
  double first;             // depth of the state number 0
  double step;              // from one number to the next
};

// Core, module and package C-states come before the C-states whose prefix theirs begin with.
// "state0" is the lightest idle state where only their numbers are known.
constexpr std::array<Family, 12> kFamilies{{
    {"cc", 0.0, 1 / 10.0},
    {"mc", 0.0, 1 / 10.0},
    {"pc", 0.0, 1 / 10.0},
    {"rc", 0.0, 1 / 10.0},
    {"c", 0.0, 1 / 10.0},
    {"p", 0.0, 1 / 16.0},
    {"d", 0.0, 1 / 3.0},
    {"s", 0.0, 1 / 5.0},
    {"l", 0.0, 1 / 3.0},
    {"state", 0.2, 0.25},
    {"cpu-sleep-", 0.7, 0.1},
    {"cluster-sleep-", 0.9, 0.1},
}};

// In MHz.
constexpr std::array<std::pair<std::string_view, double>, 4> kFrequencyUnits{
    {{"hz", 1e-6}, {"khz", 1e-3}, {"mhz", 1.0}, {"ghz", 1e3}}};
constexpr double kHighestMegahertz = 5000.0;

std::string toLower(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char character) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  });
  return lower;
}

/// A number at the start of `text`, which is moved behind it.
std::optional<double> takeNumber(std::string_view& text) {
  double number = 0.0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  if (error != std::errc() || !std::isfinite(number)) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

/// "c6", "pc10", "c1e", "d3hot", "l0s", "c1_acpi"; a digit behind an "i" ("s0i3", "d0i3") names a
/// sleep within an active state, deeper than any of its own.
Depth depthOfNumbered(std::string_view name) {
  for (const Family& family : kFamilies) {
    if (!name.starts_with(family.prefix)) continue;
    std::string_view rest = name.substr(family.prefix.size());
    if (rest.empty() || rest.front() < '0' || rest.front() > '9') continue;
    const double level = takeNumber(rest).value_or(0.0);
    // Where a driver appends something of its own to the usual name.
    rest = rest.substr(0, rest.find_first_of("_-"));
    if (rest.size() > 4) return std::nullopt;
    if (rest.starts_with("i")) return 0.9;
    // "C1E" is deeper than "C1", and not as deep as "C2".
    const double number = level + (rest.empty() ? 0.0 : 0.5);
    return std::min(1.0, family.first + number * family.step);
  }
  return std::nullopt;
}

/// `units`: in lower case.
Depth depthOfFrequency(double number, std::string_view units) {
  const auto* const unit =
      std::ranges::find(kFrequencyUnits, units, &std::pair<std::string_view, double>::first);
  if (unit == kFrequencyUnits.end()) return std::nullopt;
  return 1.0 - std::clamp(number * unit->second / kHighestMegahertz, 0.0, 1.0);
}

Depth depthOfFrequency(std::string_view name) {
  const auto number = takeNumber(name);
  if (!number) return std::nullopt;
  if (name.starts_with(" ")) name.remove_prefix(1);
  return depthOfFrequency(*number, name);
}

}  // namespace

std::optional<double> stateDepth(std::string_view name) {
  const std::string lower = toLower(name);
  const auto* const named = std::ranges::find(kNamedDepths, lower, &NamedDepth::name);
  if (named != kNamedDepths.end()) return named->depth;
  const Depth numbered = depthOfNumbered(lower);
  return numbered ? numbered : depthOfFrequency(lower);
}

std::optional<double> stateDepth(double number, std::string_view units) {
  if (std::isnan(number)) return std::nullopt;
  constexpr double kDeepest = 10.0;
  if (units.empty() && number >= 0 && number <= kDeepest) return number / kDeepest;
  return depthOfFrequency(number, toLower(units));
}
