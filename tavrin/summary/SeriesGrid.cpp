#include "tavrin/summary/SeriesGrid.h"

namespace tavrin {

SeriesGrid::SeriesGrid(const MetricTotals& totals) {
  const bool hasStates = totals.hasStates();
  std::string state;
  for (const pwr::Data& value : totals.metric()->finiteSet) {
    if (hasStates && value.toFormattedString(state) == 0) columns_({nullptr, state});
  }
  for (const SeriesTotals& series : totals.series()) {
    const Row row(series.entity, hasStates ? series.descriptor : nullptr);
    const Column column(hasStates ? nullptr : series.descriptor, series.value);
    cells_[{rows_(row), columns_(column)}] = &series;
  }
}

}  // namespace tavrin
