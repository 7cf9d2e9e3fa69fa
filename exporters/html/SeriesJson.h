#pragma once

#include <map>
#include <string>
#include <vector>

#include "exporters/html/MetricSeries.h"
#include "exporters/html/PageEntities.h"
#include "exporters/html/PageJson.h"
#include "exporters/html/SeriesStore.h"

/// Writes what the document says of the series that are shown, and of the states that they take.
class SeriesJson {
 public:
  SeriesJson(PageJson& json, PageEntities& entities, const SeriesStore& store)
      : json_(json), entities_(entities), store_(store) {}

  /// `data`: of each series, in the order in which they are shown.
  void write(const std::vector<std::string>& data);

 private:
  void writeSeries(const PageSeries& series, const std::string& data);
  void writeScale(const PageSeries& series);
  void writeTotals(const PageSeries& series, const ValueScale& scale);
  void writeTexts(const PageSeries& series);
  void writeStateSets();
  std::string labelOf(const PageSeries& series);
  std::size_t stateSetOf(const MetricSeries& metric);

  PageJson& json_;
  PageEntities& entities_;
  const SeriesStore& store_;
  std::map<const MetricSeries*, std::size_t> setNumbers_;
  std::vector<const MetricSeries*> sets_;
};
