#include "writers/columns/OverTimeMetadata.h"

#include <array>
#include <charconv>
#include <variant>

#include "hostcommon/NumberText.h"
#include "writers/columns/TableFile.h"
#include "writers/common/CsvText.h"
#include "writers/common/MetricTraits.h"
#include "writers/common/SystemFacts.h"
#include "writers/host/Quantity.h"

namespace {

using Row = std::vector<std::string>;

/// "" for a number that is not there.
std::string shortest(bool isThere, double number) {
  std::string text;
  if (isThere) pwr::appendShortest(text, number);
  return text;
}

const Row kSeriesHeadings = {"Metric",  "Metric id", "Kind",         "Quantity",
                             "Units",   "Entity",    "Entity level", "Descriptor",
                             "Samples", "Minimum",   "Maximum",      "Mean"};

Row describe(const OverTimeSeries& series, OverTimeNames& names) {
  const bool hasNumbers = series.numbers != 0;
  return {names.nameOf(series.metric),
          std::to_string(series.metric->id),
          metricKindText(series.metric->type),
          series.quantity == nullptr ? "" : series.quantity->toQuantityString(),
          traceUnits(series.mode, series.quantity),
          names.nameOf(series.entity),
          series.entity == nullptr ? "" : series.entity->getLevel(),
          series.descriptor == nullptr ? "" : series.descriptor->getName(),
          std::to_string(series.samples),
          shortest(hasNumbers, series.minimum),
          shortest(hasNumbers, series.maximum),
          shortest(hasNumbers, series.sum / static_cast<double>(series.numbers))};
}

std::string textOf(const std::string& text) {
  return text;
}
template <typename Number>
std::string textOf(Number number) {
  std::array<char, 32> digits{};
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return {digits.data(), result.ptr};
}

/// "" for a text or a frequency that is not known.
std::string textOf(const SystemFactValue& value) {
  const auto* const frequency = std::get_if<float>(&value);
  if (frequency != nullptr && *frequency == 0.0F) return {};
  return std::visit([](const auto& held) { return textOf(held); }, value);
}

std::string describe(const pwr::SystemMetadata& system) {
  std::string lines;
  for (const SystemFact& fact : systemFacts()) {
    if (fact.title == nullptr) continue;
    const std::string text = textOf(fact.of(system));
    if (!text.empty()) lines += csvLine(Row{fact.title, text});
  }
  for (const pwr::LostEvents& lost : system.getLostEvents()) {
    lines += csvLine(Row{"Lost events (" + lost.source + ")", textOf(lost.count)});
  }
  for (const pwr::NameValuePair& info : system.getInfoValues()) {
    const std::string& meaning = info.getValueDesc();
    lines += csvLine(Row{info.getInfoName(),
                         textOf(info.getValue()) + (meaning.empty() ? "" : " (" + meaning + ")")});
  }
  return lines;
}

}  // namespace

bool OverTimeMetadata::open(const std::string& path) {
  return createOutput(file_, path);
}

int OverTimeMetadata::write(const Columns& columns, const OverTimeSeriesList& events,
                            OverTimeNames& names, const pwr::SystemMetadata* system) {
  file_.write("Columns\nColumn Name," + csvLine(kSeriesHeadings));
  for (std::size_t n = 0; n < columns.series.size(); ++n) {
    file_.write(csvText(columns.headings[n + 1]) + ',' +
                csvLine(describe(columns.series[n], names)));
  }
  file_.write("\nEvents\n" + csvLine(kSeriesHeadings));
  for (const OverTimeSeries& series : events) file_.write(csvLine(describe(series, names)));
  file_.write("\nSystem\nName,Value\n");
  if (system != nullptr) file_.write(describe(*system));
  return file_.close();
}
