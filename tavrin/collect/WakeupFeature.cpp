#include "tavrin/collect/WakeupFeature.h"

#include <unistd.h>

#include <utility>

#include "tavrin/collect/Counting.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr const char* kWakeupSources = "/sys/class/wakeup";
/// Of every kernel that has wakeup sources. It is only looked for: its reader may have to wait.
constexpr const char* kWakeupCount = "/sys/power/wakeup_count";
constexpr const char* kWakeupTable = "/sys/kernel/debug/wakeup_sources";

constexpr std::array kWakeupFiles{"active_count", "event_count",    "wakeup_count",
                                  "expire_count", "active_time_ms", "total_time_ms"};

/// Takes the last word off the text, if it is a number.
bool takeLastNumber(std::string_view& text, unsigned long long& number) {
  text = text.substr(0, text.find_last_not_of(" \t") + 1);
  const std::size_t start = text.find_last_of(" \t") + 1;
  std::string_view word = text.substr(start);
  if (start == 0 || !takeNumber(word, number) || !word.empty()) return false;
  text.remove_suffix(text.size() - start);
  return true;
}

}  // namespace

WakeupFeature::WakeupFeature()
    : Feature("wakeup", "Wakeup Sources", "Events and active time of what wakes the machine"),
      things_("Wakeup Source", kCounts),
      times_(kTicksPerMillisecond),
      states_({"released", "held"}) {}

std::optional<WakeupFeature::Source> WakeupFeature::open(const std::string& folder) {
  const std::string path = std::string(kWakeupSources) + "/" + folder + "/";
  const std::string name = root_->readLine(path + "name");
  Source source{.name = name.empty() ? folder : name + " (" + folder + ")",
                .lastChange = OpenFile(root_->path(path + "last_change_ms"))};
  for (const char* const file : kWakeupFiles) source.files.emplace_back(root_->path(path + file));
  if (!readAll(source)) return std::nullopt;
  return source;
}

void WakeupFeature::findSources() {
  const std::string prefix = "wakeup";
  std::vector<std::string> folders;
  for (const unsigned int number : root_->listNumbered(kWakeupSources, prefix)) {
    folders.push_back(prefix + std::to_string(number));
  }
  sources_.meet(folders, [this](const std::string& folder) { return open(folder); });
}

bool WakeupFeature::readAll(Source& source) {
  Reading reading;
  std::array<unsigned long long*, kWakeupFiles.size()> numbers{
      &reading.counts[0], &reading.counts[1], &reading.counts[2],
      &reading.counts[3], &reading.heldTime,  &reading.totalTime};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (source.files[i].readNumber(*numbers[i]) != 0) return false;
  }
  source.last = reading;
  return true;
}

/// Returns false when the source is gone.
bool WakeupFeature::read(Source& source) {
  unsigned long long changedAt = 0;
  if (source.lastChange.readNumber(changedAt) != 0) return false;
  const bool isSame = std::exchange(source.changedAt, changedAt) == changedAt;
  if ((!isSame || source.last->heldTime != 0) && !readAll(source)) return false;
  note(source.name, *source.last);
  return true;
}

/// Lines are a name, which may contain blanks, and the numbers active_count, event_count,
/// wakeup_count, expire_count, active_since, total_time, max_time, last_change and
/// prevent_suspend_time.
void WakeupFeature::readTable() {
  std::string_view text;
  if (table_->readText(text) != 0) return;
  while (!text.empty()) {
    std::string_view line = takeLine(text);
    std::array<unsigned long long, 9> numbers{};
    std::size_t missing = numbers.size();
    while (missing > 0 && takeLastNumber(line, numbers[missing - 1])) --missing;
    if (missing > 0) continue;
    note(trimmed(line), {{numbers[0], numbers[1], numbers[2], numbers[3]}, numbers[4], numbers[5]});
  }
}

/// Adds what a source tells to what others of that name do.
void WakeupFeature::note(std::string_view name, const Reading& reading) {
  auto place = readings_.find(name);
  if (place == readings_.end()) place = readings_.try_emplace(std::string(name)).first;
  Reading& sum = place->second;
  if (!sum.isNoted) sum = Reading();
  for (std::size_t i = 0; i < kCounts; ++i) sum.counts[i] += reading.counts[i];
  sum.heldTime += reading.heldTime;
  sum.totalTime += reading.totalTime;
  sum.isNoted = true;
}

void WakeupFeature::read() {
  if (table_) {
    readTable();
  } else {
    sources_.forEach([this](Source& source) { return read(source); });
  }
  std::erase_if(readings_, [](const auto& reading) { return !reading.second.isNoted; });
  for (auto& [name, reading] : readings_) {
    reading.isNoted = false;
    const pwr::EntityHandle* const entity = things_.note(name, reading.counts);
    if (entity == nullptr) continue;
    if (active_.empty()) {
      active_.push_back(pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("active", "")));
    }
    // One that joins later had not been active before.
    const bool isNew = !metrics().empty();
    times_.note(times_.add(entity, active_, isNew), {&reading.totalTime, 1});
    states_.note(states_.add(entity), reading.heldTime != 0 ? "held" : "released");
  }
}

const pwr::MetricDescription* WakeupFeature::add(pwr::MetricDescription metric, const char* name,
                                                 unsigned int containerId) {
  metric.containerId = containerId;
  metric.name = name;
  metric.featureTag = tag();
  return addMetric(pwr::createMetric(std::move(metric)));
}

std::string WakeupFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                 unsigned int containerId) {
  root_ = &root;
  sources_.follow(root);
  findSources();
  const bool canWake = access(root.path(kWakeupCount).c_str(), F_OK) == 0;
  if (canWake && root.listNumbered(kWakeupSources, "wakeup").empty()) {
    table_.emplace(root.path(kWakeupTable));
  }
  read();
  if (things_.empty()) {
    return std::string("no wakeup source below ") + kWakeupSources + " or in " + kWakeupTable +
           " has been active";
  }
  const CounterMetric events{"Wakeup Events",
                             createEventsQuantity(),
                             {{0, "activations", ""},
                              {1, "events", ""},
                              {2, "wakeups", "Events that may have ended or stopped a sleep"},
                              {3, "expirations", "Activations that ended by their time"}}};
  add(things_.describe(events), events.name, containerId);
  add(times_.describe("Wakeup Source"), "Wakeup Source Time", containerId);
  add(states_.describe("Wakeup Source"), "Wakelocks", containerId);
  things_.endPass();
  return {};
}

void WakeupFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  if (!table_ && sources_.isDue(now)) findSources();
  read();
  if (complete) things_.emit(0, metrics()[0], interval_, batch);
  things_.endPass();
  times_.emit(metrics()[1], complete, interval_, batch);
  states_.emit(metrics()[2], complete, interval_, batch);
}

void WakeupFeature::remainder(SampleBatch& batch) const {
  Feature::remainder(batch);
  times_.remainder(metrics()[1], batch);
}

}  // namespace tavrin
