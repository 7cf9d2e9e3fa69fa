#include "tavrin/inspect/InspectReport.h"

#include <algorithm>

#include "readers/PlainText.h"

namespace tavrin {

namespace {

std::string counted(std::uint64_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

void InspectReport::Span::add(std::uint64_t time) {
  ++points;
  first = std::min(first, time);
  last = std::max(last, time);
}

std::string InspectReport::Span::text(const char* timeUnit) const {
  if (points == 0) return counted(0, "point");
  return counted(points, "point") + " from " + std::to_string(first) + " to " +
         std::to_string(last) + " " + timeUnit;
}

void InspectReport::addSystem(std::string_view key, std::string_view text) {
  std::string label = printable(key);
  label.resize(std::max<std::size_t>(label.size() + 2, 28), ' ');
  system_ += "  " + label + (text.empty() ? "-" : printable(text)) + "\n";
}

void InspectReport::addNote(std::string_view text) {
  notes_ += printable(text) + "\n";
}

std::size_t InspectReport::addMetric(Metric metric) {
  metrics_.push_back({.metric = std::move(metric)});
  return metrics_.size() - 1;
}

void InspectReport::addValue(const Point& point, bool isNewPoint) {
  MetricCounts& counts = metrics_[point.metric];
  if (withPoints_) {
    if (span_.points == 0) print("time\tduration\tmetric\tseries\tname\tvalue");
    print(std::to_string(point.time) + "\t" + point.duration + "\t" +
          printable(counts.metric.name) + "\t" + printable(point.series) + "\t" +
          printable(point.name) + "\t" + point.value);
    span_.add(point.time);
    return;
  }
  if (isNewPoint) {
    span_.add(point.time);
    counts.span.add(point.time);
  }
  auto series = counts.values.find(point.series);
  if (series == counts.values.end())
    series = counts.values.try_emplace(std::string(point.series)).first;
  auto name = series->second.find(point.name);
  if (name == series->second.end())
    name = series->second.try_emplace(std::string(point.name)).first;
  ++name->second;
}

bool InspectReport::hasValues(std::size_t metric, const std::string& series,
                              const std::string& name) const {
  const auto found = metrics_[metric].values.find(series);
  return found != metrics_[metric].values.end() && found->second.contains(name);
}

void InspectReport::addFact(std::size_t metric, std::string fact) {
  metrics_[metric].metric.facts.push_back(std::move(fact));
}

void InspectReport::finish(const std::string& title, const char* timeUnit) {
  if (withPoints_) return;
  print(printable(title) + ": sound");
  print("System:");
  std::fputs(system_.c_str(), out_);
  print(counted(metrics_.size(), "metric") + ", " + span_.text(timeUnit));
  for (const MetricCounts& counts : metrics_) printMetric(counts, timeUnit);
  std::fputs(notes_.c_str(), out_);
}

void InspectReport::printMetric(const MetricCounts& counts, const char* timeUnit) const {
  const Metric& metric = counts.metric;
  std::string line = "  " + printable(metric.name);
  if (!metric.units.empty()) line += " in " + printable(metric.units);
  line += " (" + printable(metric.kind);
  if (!metric.feature.empty()) line += ", " + printable(metric.feature);
  print(line + "): " + counts.span.text(timeUnit));
  for (const std::string& fact : metric.facts) print("    " + printable(fact));
  std::string states;
  for (const std::string& state : metric.states) states += " " + printable(state) + ",";
  if (!states.empty()) print("    states:" + states.substr(0, states.size() - 1));
  for (const auto& [series, names] : counts.values) {
    std::string text;
    for (const auto& [name, count] : names) {
      text += (text.empty() ? "" : ", ") + printable(name) + " " + std::to_string(count);
    }
    print("    " + printable(series) + ": " + text);
  }
}

}  // namespace tavrin
