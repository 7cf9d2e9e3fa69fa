#include "writers/columns/OverTimeNames.h"

namespace {

std::string headingOf(const OverTimeSeries& series, const std::string& metric,
                      const std::string& entity) {
  std::string heading = metric;
  if (!entity.empty()) heading += " - " + entity;
  if (series.descriptor != nullptr && !series.descriptor->getName().empty()) {
    heading += " - " + series.descriptor->getName();
  }
  return heading + traceUnitSuffix(series.mode, series.quantity);
}

std::string shortHeadingOf(const OverTimeSeries& series) {
  return headingOf(series, series.metric->name,
                   series.entity == nullptr ? "" : series.entity->getName());
}

}  // namespace

std::string UniqueNames::claim(const std::string& name) {
  std::string claimed = name;
  unsigned int* number = nullptr;
  while (!claimed_.insert(claimed).second) {
    if (number == nullptr) number = &latestNumber_.try_emplace(name, 1).first->second;
    claimed = name + " #" + std::to_string(++*number);
  }
  return claimed;
}

const std::string& OverTimeNames::nameOf(const pwr::MetricDescription* metric) {
  const auto [place, isNew] = nameByMetric_.try_emplace(metric);
  if (isNew) place->second = metricNames_.claim(metric->name);
  return place->second;
}

const std::string& OverTimeNames::nameOf(const pwr::EntityHandle* entity) {
  const auto [place, isNew] = nameByEntity_.try_emplace(entity);
  if (isNew && entity != nullptr) place->second = entityNames_.claim(entity->getQualifiedName());
  return place->second;
}

std::vector<std::string> headingsOf(const OverTimeSeriesList& series, const std::string& timeName,
                                    OverTimeNames& names) {
  std::unordered_map<std::string, unsigned int> uses{{timeName, 1}};
  for (const OverTimeSeries& one : series) ++uses[shortHeadingOf(one)];
  UniqueNames unique;
  std::vector<std::string> headings{unique.claim(timeName)};
  for (const OverTimeSeries& one : series) {
    std::string heading = shortHeadingOf(one);
    if (uses[heading] > 1) {
      heading = headingOf(one, names.nameOf(one.metric), names.nameOf(one.entity));
    }
    headings.push_back(unique.claim(heading));
  }
  return headings;
}
