#include "hostcommon/SeriesNames.h"

#include <algorithm>
#include <array>
#include <optional>

#include "hostcommon/Utf8Text.h"

namespace pwr {

namespace {

struct Symbol {
  std::string_view symbol;
  std::string_view name;
  double factor = 1.0;
  double divisor = 1.0;
};

// They take a prefix.
constexpr std::array<Symbol, 8> kSymbols{{{"s", "seconds"},
                                          {"J", "joules"},
                                          {"Wh", "joules", 3600.0},
                                          {"W", "watts"},
                                          {"V", "volts"},
                                          {"A", "amperes"},
                                          {"Hz", "hertz"},
                                          {"B", "bytes"}}};

constexpr std::array<Symbol, 12> kWords{{{"", ""},
                                         {"count", ""},
                                         {"%", "percent"},
                                         {"C", "celsius"},
                                         {"°C", "celsius"},
                                         {"mC", "celsius", 1.0, 1e3},
                                         {"m°C", "celsius", 1.0, 1e3},
                                         {"min", "seconds", 60.0},
                                         {"h", "seconds", 3600.0},
                                         {"KiB", "bytes", 0x1p10},
                                         {"MiB", "bytes", 0x1p20},
                                         {"GiB", "bytes", 0x1p30}}};

constexpr std::array<Symbol, 10> kPrefixes{{{"", ""},
                                            {"n", "", 1.0, 1e9},
                                            {"u", "", 1.0, 1e6},
                                            {"\u00B5", "", 1.0, 1e6},  // the micro sign
                                            {"\u03BC", "", 1.0, 1e6},  // the Greek letter
                                            {"m", "", 1.0, 1e3},
                                            {"k", "", 1e3},
                                            {"M", "", 1e6},
                                            {"G", "", 1e9},
                                            {"T", "", 1e12}}};

/// As InfluxDB has "time"; the others are tags that outputs set beside those of entities.
constexpr std::array<std::string_view, 7> kTakenKeys{"host", "state",   "time", "pid",
                                                     "tid",  "process", "db"};

constexpr int kMostParents = 15;  // engines take some thirty tags and leave others out

std::optional<BaseUnit> knownUnit(std::string_view text) {
  const auto* const word = std::ranges::find(kWords, text, &Symbol::symbol);
  if (word != kWords.end()) return BaseUnit{std::string(word->name), word->factor, word->divisor};
  for (const Symbol& prefix : kPrefixes) {
    if (!text.starts_with(prefix.symbol)) continue;
    const auto* const unit =
        std::ranges::find(kSymbols, text.substr(prefix.symbol.size()), &Symbol::symbol);
    if (unit == kSymbols.end()) continue;
    return BaseUnit{std::string(unit->name), unit->factor * prefix.factor, prefix.divisor};
  }
  return std::nullopt;
}

BaseUnit unitOf(std::string_view text) {
  if (std::optional<BaseUnit> known = knownUnit(text)) return *known;
  const std::size_t slash = text.rfind('/');
  if (slash == std::string_view::npos) return {.name = plainName(text)};
  const std::string_view of = text.substr(0, slash);
  BaseUnit unit = knownUnit(of).value_or(BaseUnit{.name = plainName(of)});
  const std::string_view per = text.substr(slash + 1);
  if (!unit.name.empty()) unit.name += "_";
  unit.name += "per_" + (per == "s" ? "second" : plainName(per));
  return unit;
}

constexpr std::string_view kNoText = "(none)";

bool isControl(char letter) {
  return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F;
}

bool isSpecial(char letter) {
  return letter == ',' || letter == '=' || letter == ' ';
}

/// The text without the bytes beyond the limit, and without a part of a character at its end.
std::string_view cut(std::string_view text) {
  if (text.size() <= kMostTagText) return text;
  std::size_t size = kMostTagText;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80) --size;
  return text.substr(0, size);
}

}  // namespace

std::string plainName(std::string_view text) {
  std::string name;
  for (const char letter : text) {
    const bool isUpper = letter >= 'A' && letter <= 'Z';
    const bool isDigit = letter >= '0' && letter <= '9';
    if (isUpper || isDigit || (letter >= 'a' && letter <= 'z')) {
      if (name.empty() && isDigit) name += '_';
      name += isUpper ? static_cast<char>(letter - 'A' + 'a') : letter;
    } else if (!name.empty() && name.back() != '_') {
      name += '_';
    }
    if (name.size() >= kMostPlainName) break;
  }
  if (name.ends_with('_')) name.pop_back();
  return name.empty() ? "unnamed" : name;
}

BaseUnit baseUnitOf(const Quantity* quantity, double ticksPerSecond) {
  if (quantity == nullptr) return {};
  if (isTime(quantity)) return {.name = "seconds", .divisor = ticksPerSecond};
  return unitOf(quantity->toUnitsString());
}

std::string measurementName(std::string_view metric, const BaseUnit& unit) {
  std::string name = plainName(metric);
  const bool hasUnit = unit.name.empty() || name == unit.name || name.ends_with("_" + unit.name);
  return hasUnit ? name : name + "_" + unit.name;
}

std::string fieldName(const DataDescriptor* descriptor) {
  if (descriptor == nullptr) return "value";
  std::string name = plainName(descriptor->getName());
  return name == "time" ? "time_" : name;  // no engine stores a field of that name
}

std::vector<SeriesTag> tagsOf(const EntityHandle* entity) {
  std::vector<SeriesTag> tags;
  for (int depth = 0; entity != nullptr && depth <= kMostParents; ++depth) {
    std::string key = entity->getLevel().empty() ? "entity" : plainName(entity->getLevel());
    if (std::ranges::count(kTakenKeys, key) > 0) key.insert(0, "entity_");
    const auto known = std::ranges::find(tags, key, &SeriesTag::key);
    if (known == tags.end()) {
      tags.push_back({std::move(key), entity->getName()});
    } else {
      known->value = entity->getName() + "/" + known->value;
    }
    entity = entity->getParent();
  }
  std::ranges::reverse(tags);
  return tags;
}

bool appendTag(std::string& tags, std::string_view key, std::string_view value) {
  tags.append(",").append(key).append("=");
  if (value.empty()) value = kNoText;
  const bool isAscii = std::ranges::none_of(
      value, [](char letter) { return static_cast<unsigned char>(letter) >= 0x80; });
  const std::string repaired = isAscii ? std::string() : validUtf8(value);
  const std::string_view whole = isAscii ? value : repaired;
  const std::string_view valid = cut(whole);
  for (std::size_t i = 0; i < valid.size(); ++i) {
    const char letter = isControl(valid[i]) ? ' ' : valid[i];
    const char next = i + 1 == valid.size() || isControl(valid[i + 1]) ? ' ' : valid[i + 1];
    // Engines differ in what a backslash before one of these, or at the end, means.
    const bool isUnclear = letter == '\\' && (isSpecial(next) || next == '\\');
    if (isSpecial(letter)) tags += '\\';
    tags += isUnclear ? '/' : letter;
  }
  return valid.size() == whole.size();
}

std::string UniqueNames::take(const std::string& name) {
  if (taken_.try_emplace(name, 2).second) return name;
  int& next = taken_[name];
  std::string unique;
  do {
    unique = name + "_" + std::to_string(next++);
  } while (!taken_.try_emplace(unique, 2).second);
  return unique;
}

}  // namespace pwr
