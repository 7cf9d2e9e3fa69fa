#include "tavrin/import/EventCounts.h"

#include <algorithm>

#include "hostcommon/summary/TableBuilder.h"
#include "tavrin/common/Glob.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

bool matches(const std::string& pattern, const KernelEvent& event) {
  if (pattern.find(':') == std::string::npos) return matchesGlob(pattern, event.name);
  if (event.system.empty()) return false;
  return matchesGlob(pattern, std::string(event.system) + ":" + std::string(event.name));
}

bool isOther(const KernelEvent& event) {
  return std::holds_alternative<OtherEvent>(event.what);
}

}  // namespace

EventCounts::EventCounts(std::vector<std::string> patterns) {
  for (std::string& pattern : patterns) patterns_.push_back({std::move(pattern)});
}

/// Each pattern is asked, so that it is known which ones match something.
bool EventCounts::isWanted(const KernelEvent& event) {
  bool isWanted = false;
  for (Pattern& pattern : patterns_) {
    if (!matches(pattern.text, event)) continue;
    pattern.isMatched = true;
    isWanted = true;
  }
  return isWanted;
}

EventCounts::Name& EventCounts::find(const KernelEvent& event) {
  const auto found = names_.find(event.name);
  if (found != names_.end()) return found->second;
  if (names_.size() == kMostNames) return others_;
  return names_.emplace(event.name, Name{.isWanted = isWanted(event)}).first->second;
}

bool EventCounts::add(const KernelEvent& event) {
  Name& name = find(event);
  ++name.count;
  cpus_ = std::max(cpus_, event.cpu + 1);
  if (event.cpu < kMostCpus) {
    if (event.cpu >= name.byCpu.size()) name.byCpu.resize(event.cpu + std::size_t{1});
    ++name.byCpu[event.cpu];
  }
  const bool isTaken = name.isWanted || !isOther(event);
  if (!isTaken) ++name.leftOut;
  return isTaken;
}

std::vector<EventCounts::Row> EventCounts::byFrequency(unsigned long long Name::*count) const {
  std::vector<Row> rows;
  for (const auto& [name, counted] : names_) rows.emplace_back(escaped(name), &counted);
  rows.emplace_back("others", &others_);
  std::erase_if(rows, [&](const Row& row) { return row.second->*count == 0; });
  std::ranges::stable_sort(rows, std::ranges::greater(),
                           [&](const Row& row) { return row.second->*count; });
  return rows;
}

void EventCounts::deliver(unsigned int containerId, pwr::MessageSink& sink) const {
  const std::vector<Row> rows = byFrequency(&Name::count);
  if (rows.empty()) return;
  pwr::TableBuilder table(containerId, 1, "Recording Summary: Events",
                          "Events by their names, those left out of all metrics included.");
  table.column("Event");
  table.column("Events");
  table.column("Left out");
  const bool hasCpus = cpus_ <= kMostCpus;
  for (unsigned int cpu = 0; hasCpus && cpu < cpus_; ++cpu) {
    table.column("CPU" + std::to_string(cpu));
  }
  for (const auto& [name, counted] : rows) {
    pwr::TableBuilder::Row cells{pwr::Data(name), pwr::Data(counted->count),
                                 pwr::Data(counted->leftOut)};
    for (unsigned int cpu = 0; hasCpus && cpu < cpus_; ++cpu) {
      cells.emplace_back(cpu < counted->byCpu.size() ? counted->byCpu[cpu] : 0ULL);
    }
    table.row(std::move(cells));
  }
  table.deliver([&](const pwr::TableMessage& message) { sink.table(message); });
}

void EventCounts::tell() const {
  constexpr std::size_t kMostNamed = 5;
  for (const Pattern& pattern : patterns_) {
    if (!pattern.isMatched) warn("no event of the recording matches '" + pattern.text + "'");
  }
  const std::vector<Row> rows = byFrequency(&Name::leftOut);
  if (rows.empty()) return;
  unsigned long long all = 0;
  std::string names;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    all += rows[i].second->leftOut;
    if (i >= kMostNamed) continue;
    names +=
        (i == 0 ? "" : ", ") + rows[i].first + " (" + std::to_string(rows[i].second->leftOut) + ")";
  }
  if (rows.size() > kMostNamed) names += ", ...";
  inform(std::to_string(all) + " events of " + std::to_string(rows.size()) +
         " names are left out: " + names + "; --events PATTERN makes metrics of them");
}

}  // namespace tavrin
