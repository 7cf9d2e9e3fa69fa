#include "tavrin/inspect/ResultSummary.h"

#include <algorithm>

#include "readers/PlainText.h"

namespace tavrin {

namespace {

constexpr const char* kNotOver =
    "The collection was not over: files that came later would not be missed.";

std::string orDash(std::string_view text) {
  return text.empty() ? "-" : std::string(text);
}

}  // namespace

/// Tells the report of those that are new.
void ResultSummary::addMetrics() {
  for (; metrics_ < reader_.metrics().size(); ++metrics_) {
    const Metric& metric = reader_.metrics()[metrics_];
    InspectReport::Metric text{.name = std::string(metric.name),
                               .feature = std::string(metric.feature),
                               .kind = orDash(metric.kindName),
                               .units = std::string(metric.units)};
    for (const std::string_view state : metric.states) text.states.emplace_back(state);
    for (const Fact& fact : metric.details) text.facts.push_back(fact.name + ": " + fact.value);
    report_.addMetric(std::move(text));
  }
}

void ResultSummary::addPoint(const Point& point) {
  lastTime_ = std::max(lastTime_, point.time);
  const Series& series = reader_.series()[point.series];
  const auto text = [this](double value) {
    return reader_.isSinglePrecision() ? numberText(static_cast<float>(value)) : numberText(value);
  };
  const bool hasBlanks = reader_.format() != ResultFormat::Timeline;
  report_.addValue({.metric = series.metric,
                    .series = hasBlanks || !series.label.empty() ? series.label : "-",
                    .name = hasBlanks || !series.descriptor.empty() ? series.descriptor : "-",
                    .time = point.time,
                    .duration = text(point.duration),
                    .value = text(point.value)},
                   !point.isContinued);
}

void ResultSummary::addSystem() {
  for (const Fact& fact : reader_.system()) report_.addSystem(fact.name, fact.value);
  if (reader_.format() != ResultFormat::BinaryStream) return;
  for (const Fact& fact : reader_.remarks()) report_.addSystem(fact.name, fact.value);
}

void ResultSummary::addSilentSeries() {
  for (std::size_t i = 0; i < reader_.metrics().size(); ++i) {
    const Metric& metric = reader_.metrics()[i];
    std::size_t silent = 0;
    for (const MetricCombination& combination : metric.combinations) {
      std::string label(metric.name);
      if (combination.entity != kNone) {
        label.append("/").append(reader_.entities()[combination.entity].qualifiedName);
      }
      const std::string name(combination.descriptor);
      if (combination.hasDescriptor && !report_.hasValues(i, label, name)) ++silent;
    }
    if (silent == 0) continue;
    report_.addFact(i, "without a point: " + std::to_string(silent) + " of " +
                           std::to_string(metric.combinations.size()) + " series described");
  }
}

void ResultSummary::addTasks(const char* title, const std::deque<Task>& tasks, bool areThreads) {
  report_.addNote(title + std::to_string(tasks.size()));
  for (const Task& task : tasks) {
    std::string line = "  " + std::to_string(task.number) + " " + std::string(task.name);
    if (areThreads && task.process != kNone) {
      line += " of " + std::to_string(reader_.processes()[task.process].number);
    }
    if (!task.lifetime.empty()) line += ", " + std::string(task.lifetime);
    report_.addNote(line);
  }
}

/// What the binary format cannot tell.
void ResultSummary::addEndOfStream() {
  const std::uint64_t stop = reader_.clock().stop;
  if (stop == 0) {
    report_.addNote(kNotOver);
  } else if (stop >= lastTime_) {
    report_.addNote("The collection stopped " + std::to_string(stop - lastTime_) +
                    " ticks after the start of the last point.");
  }
  report_.addNote("Points are not counted in the files: those cut off at an end are not missed.");
}

void ResultSummary::addNotes() {
  switch (reader_.format()) {
    case ResultFormat::BinaryStream:
      addSilentSeries();
      addEndOfStream();
      break;
    case ResultFormat::JsonTrace:
      break;
    case ResultFormat::NumberedJson:
      if (reader_.clock().stop == 0) report_.addNote(kNotOver);
      break;
    case ResultFormat::Timeline:
      addTasks("Processes: ", reader_.processes(), false);
      addTasks("Threads: ", reader_.threads(), true);
      for (const Fact& fact : reader_.remarks()) report_.addNote(fact.name + ": " + fact.value);
      break;
  }
}

void ResultSummary::report(const RunFiles& run) {
  Point point;
  addMetrics();
  while (reader_.next(point)) {
    addMetrics();
    addPoint(point);
  }
  addMetrics();
  addSystem();
  addNotes();
  report_.finish(titleOf(run), reader_.clock().timeUnit == TimeUnit::Microseconds ? "us" : "ticks");
}

}  // namespace tavrin
