#include "hostcommon/summary/SeriesGrid.h"

#include <charconv>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>

namespace pwr {

namespace {

std::optional<double> numberOf(std::string_view text) {
  double number = 0.0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || rest != text.data() + text.size()) return {};
  return number;
}

/// Numbers by their size, "state2" before "state10".
struct IsBefore {
  bool operator()(std::string_view one, std::string_view other) const {
    const auto parts = [](std::string_view text) {
      const std::size_t digits = text.find_last_not_of("0123456789.-") + 1;
      return std::tuple(text.substr(0, digits), numberOf(text.substr(digits)), text);
    };
    return parts(one) < parts(other);
  }
};

}  // namespace

SeriesGrid::SeriesGrid(const MetricTotals& totals) {
  const bool hasStates = totals.hasStates();
  std::string state;
  for (const Data& value : totals.metric()->finiteSet) {
    if (hasStates && value.toFormattedString(state) == 0) columns_({nullptr, state});
  }
  if (hasStates) addStates(totals);
  for (const SeriesTotals& series : totals.series()) {
    const Row row(series.entity, hasStates ? series.descriptor : nullptr);
    const Column column(hasStates ? nullptr : series.descriptor, series.value);
    cells_[{rows_(row), columns_(column)}] = &series;
  }
}

void SeriesGrid::addStates(const MetricTotals& totals) {
  std::set<std::string_view, IsBefore> states;
  for (const SeriesTotals& series : totals.series()) states.insert(series.value);
  for (const std::string_view state : states) columns_({nullptr, std::string(state)});
}

}  // namespace pwr
