#include "tavrin/collect/InterruptTable.h"

#include <algorithm>
#include <utility>

#include "tavrin/collect/CpuEntities.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr double kMostPerSecond = 1e7;
constexpr unsigned long long kWrap = 1ULL << 32U;

/// What follows a row's counts: the controller and the line of it, then two blanks or more, then
/// who uses it; or that alone.
std::string_view labelIn(std::string_view rest) {
  rest = trimmed(rest);
  const std::size_t blanks = rest.rfind("  ");
  return blanks == std::string_view::npos ? rest : rest.substr(blanks + 2);
}

std::string sourceName(const std::string& key, const std::string& label) {
  return label.empty() ? key : label + " (" + key + ")";
}

/// Nothing when the counter began anew.
std::optional<unsigned long long> growthOfCount(unsigned long long before, unsigned long long now,
                                                double seconds) {
  if (now >= before) return now - before;
  if (before >= kWrap) return std::nullopt;
  const unsigned long long growth = kWrap - before + now;
  if (static_cast<double>(growth) > kMostPerSecond * seconds) return std::nullopt;
  return growth;
}

}  // namespace

void InterruptTable::beginPass() {
  for (Cpu& cpu : cpus_) {
    cpu.wasHere = std::exchange(cpu.isHere, false);
    cpu.growth = 0;
  }
  for (Source& source : sources_) {
    source.wasHere = std::exchange(source.isHere, false);
    source.hasInterval = false;
  }
  next_ = 0;
}

/// Finds the CPUs of the heading's columns: "CPU0 CPU2 CPU3".
void InterruptTable::placeColumns() {
  places_.clear();
  std::string_view heading = heading_;
  for (;;) {
    std::string_view word = takeWord(heading);
    unsigned int number = 0;
    if (!word.starts_with("CPU")) break;
    word.remove_prefix(3);
    if (!takeNumber(word, number) || number >= kMostCpus) break;
    if (number >= placeByNumber_.size()) placeByNumber_.resize(number + 1, kNowhere);
    std::size_t& place = placeByNumber_[number];
    if (place == kNowhere) {
      place = cpus_.size();
      cpus_.emplace_back();
    }
    places_.push_back(place);
  }
  counts_.resize(std::max<std::size_t>(places_.size(), 1));
}

void InterruptTable::read(std::string_view text, double seconds) {
  beginPass();
  const std::string_view heading = takeLine(text);
  if (heading != heading_) {
    heading_ = heading;
    placeColumns();
  }
  for (const std::size_t place : places_) cpus_[place].isHere = true;
  while (!text.empty()) readRow(takeLine(text), seconds);
}

void InterruptTable::readRow(std::string_view line, double seconds) {
  const std::size_t colon = line.find(':');
  const std::string_view key = trimmed(line.substr(0, colon));
  if (colon == std::string_view::npos || key.empty()) return;
  line.remove_prefix(colon + 1);
  std::size_t columns = 0;
  while (columns < counts_.size() && takeNumber(line, counts_[columns])) ++columns;
  if (columns == 0) return;
  if (Source* const source = find(key, labelIn(line))) count(*source, columns, seconds);
}

/// Rows mostly have the order of the pass before.
InterruptTable::Source* InterruptTable::find(std::string_view key, std::string_view label) {
  const auto isIt = [&](const Source& source) {
    return source.key == key && source.label == label;
  };
  if (next_ < sources_.size() && isIt(sources_[next_])) return &sources_[next_++];
  const auto known = std::ranges::find_if(sources_, isIt);
  if (known == sources_.end() && sources_.size() == kMostSources) return nullptr;
  next_ = static_cast<std::size_t>(known - sources_.begin()) + 1;
  if (known != sources_.end()) return &*known;
  return &sources_.emplace_back(Source{.key = std::string(key), .label = std::string(label)});
}

/// Takes the counts of a source's row. Those of a row with fewer columns than CPUs are of no CPU.
void InterruptTable::count(Source& source, std::size_t columns, double seconds) {
  source.counts.resize(std::max(cpus_.size(), counts_.size()), kUnknown);
  const bool isPerCpu = columns == places_.size();
  bool hasFired = false;
  source.growth = 0;
  source.hasInterval = source.wasHere;
  for (std::size_t column = 0; column < columns; ++column) {
    const std::size_t place = isPerCpu ? places_[column] : column;
    const unsigned long long before = std::exchange(source.counts[place], counts_[column]);
    hasFired = hasFired || counts_[column] > 0;
    if (before == kUnknown || !source.wasHere) continue;
    const auto growth = growthOfCount(before, counts_[column], seconds);
    source.hasInterval = source.hasInterval && growth;
    source.growth += growth.value_or(0);
    if (isPerCpu) cpus_[place].growth += growth.value_or(0);
  }
  source.isHere = true;
  if (source.descriptor != nullptr || !hasFired) return;
  source.descriptor = pwr::DataDescriptor::create(
      pwr::DataDescriptorBuilder(sourceName(source.key, source.label), ""));
}

std::vector<pwr::Metric::EntityDescCombo> InterruptTable::combinations() const {
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (const Source& source : sources_) {
    if (source.descriptor != nullptr) combinations.push_back({.descriptor = source.descriptor});
  }
  return combinations;
}

void InterruptTable::emit(IntervalPoint& point) const {
  for (const Source& source : sources_) {
    if (source.descriptor == nullptr || !source.hasInterval) continue;
    point.add(pwr::Data(source.growth), source.descriptor, nullptr);
  }
}

std::optional<unsigned long long> InterruptTable::growthOn(unsigned int cpu) const {
  const std::size_t place = cpu < placeByNumber_.size() ? placeByNumber_[cpu] : kNowhere;
  if (place == kNowhere || !cpus_[place].wasHere || !cpus_[place].isHere) return std::nullopt;
  return cpus_[place].growth;
}

}  // namespace tavrin
