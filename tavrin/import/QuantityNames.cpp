#include "tavrin/import/QuantityNames.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tavrin {

namespace {

using pwr::QuantityType;

struct Unit {
  std::string_view text;
  QuantityType type;
};

constexpr Unit kUnits[] = {
    {"%", QuantityType::Percentage},  {"percent", QuantityType::Percentage},
    {"C", QuantityType::Temperature}, {"K", QuantityType::Temperature},
    {"Hz", QuantityType::Frequency},  {"kHz", QuantityType::Frequency},
    {"MHz", QuantityType::Frequency}, {"GHz", QuantityType::Frequency},
    {"J", QuantityType::Energy},      {"mJ", QuantityType::Energy},
    {"uJ", QuantityType::Energy},     {"W", QuantityType::Power},
    {"mW", QuantityType::Power},      {"uW", QuantityType::Power},
    {"V", QuantityType::Voltage},     {"mV", QuantityType::Voltage},
    {"B", QuantityType::Size},        {"KiB", QuantityType::Size},
    {"MiB", QuantityType::Size},      {"kB", QuantityType::Size},
    {"MB", QuantityType::Size},       {"ticks", QuantityType::Time},
    {"count", QuantityType::Count},
};

constexpr Unit kNames[] = {
    {"State", QuantityType::State},
    {"State Entries", QuantityType::StateEntry},
    {"Count", QuantityType::Count},
    {"Percentage", QuantityType::Percentage},
    {"Temperature", QuantityType::Temperature},
    {"Frequency", QuantityType::Frequency},
    {"Energy", QuantityType::Energy},
    {"Power", QuantityType::Power},
    {"Voltage", QuantityType::Voltage},
    {"Size", QuantityType::Size},
};

template <std::size_t N>
const Unit* find(const Unit (&list)[N], std::string_view text) {
  const Unit* const found = std::ranges::find(list, text, &Unit::text);
  return found == std::end(list) ? nullptr : found;
}

}  // namespace

pwr::QuantityType quantityTypeOf(const Metric& metric) {
  if (metric.quantityKind) {
    const bool isKnown = *metric.quantityKind <= static_cast<unsigned>(QuantityType::Other);
    return isKnown ? static_cast<QuantityType>(*metric.quantityKind) : QuantityType::Other;
  }
  if (const Unit* const name = find(kNames, metric.quantity)) return name->type;
  const Unit* const unit = find(kUnits, metric.isRate ? metric.baseUnits : metric.units);
  return unit == nullptr ? QuantityType::Other : unit->type;
}

}  // namespace tavrin
