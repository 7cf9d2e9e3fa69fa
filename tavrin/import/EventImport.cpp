#include "tavrin/import/EventImport.h"

#include <algorithm>
#include <utility>

#include "hostcommon/Descriptions.h"
#include "hostcommon/Version.h"
#include "tavrin/common/Messages.h"
#include "tavrin/events/EventGroups.h"

namespace tavrin {

namespace {

constexpr unsigned int kClockMHz = 1000;
/// Keeps damaged counts from filling the memory.
constexpr unsigned int kMostCpus = 4096;
/// Of the container behind those of the groups.
constexpr const char* kRecordingTag = "recording";

unsigned int containerOf(EventGroup group) {
  return static_cast<unsigned int>(&namesOf(group) - eventGroups().data()) + 1;
}

}  // namespace

EventImport::EventImport(std::vector<std::string> patterns, pwr::MessageSink& sink)
    : sink_(sink), counts_(std::move(patterns)) {}

EventImport::~EventImport() = default;

void EventImport::describe(Facts facts) {
  pwr::SystemDescription& system = metadata_.edit();
  system = std::move(facts.system);
  system.timestampClockFrequencyMHz = kClockMHz;
  system.tscFrequencyMHz = kClockMHz;
  system.productVersion = pwr::kVersion;
  if (system.osName.empty()) system.osName = "Linux";  // no other kernel has such events
  if (!facts.clock.empty()) system.infoValues.emplace_back("Trace clock", 0U, facts.clock);
  EventFacts known{.processes = &lives_};
  for (unsigned int cpu = 0; cpu < std::min(facts.cpus, kMostCpus); ++cpu) {
    known.cpus[cpu] = pwr::createEntity({.name = "CPU" + std::to_string(cpu), .level = "Thread"});
    system.topology.addThread(0, -1, cpu, cpu);
  }
  metrics_ = std::make_unique<EventMetrics>(std::move(known));
}

void EventImport::begin(unsigned long long time) {
  if (std::exchange(hasBegun_, true)) return;
  time_ = time;
  metadata_.edit().collectionStartTimestamp = time;
  sink_.system(metadata_);
}

void EventImport::describe(EventGroup group) {
  const EventGroupNames& names = namesOf(group);
  metrics_->describe(group, containerOf(group), names.tag);
  sink_.container(pwr::MetricContainerInfoMessage({.containerId = containerOf(group),
                                                   .featureName = names.tag,
                                                   .metricName = names.containerName,
                                                   .heading = names.containerName}));
}

void EventImport::add(const KernelEvent& event) {
  const auto group = EventMetrics::groupOf(event);
  if (!group) return addLoss(event);
  begin(event.time);
  if (event.time < time_) {
    ++early_;
    KernelEvent late = event;
    late.time = time_;
    return take(*group, late);
  }
  time_ = event.time;
  take(*group, event);
}

void EventImport::take(EventGroup group, const KernelEvent& event) {
  if (!counts_.add(event)) return;
  if (!metrics_->isDescribed(group)) describe(group);
  metrics_->add(event, sink_);
}

void EventImport::addLoss(const KernelEvent& event) {
  const unsigned long long count = std::get<LostEvents>(event.what).count;
  if (event.cpu < kMostCpus) {
    Loss& loss = losses_[event.cpu];
    loss.count += std::max(count, 1ULL);
    loss.isAtLeast = loss.isAtLeast || count == 0;
  }
  if (hasBegun_) metrics_->add(event, sink_);
}

void EventImport::tellLosses() {
  std::string where;
  unsigned long long all = 0;
  for (const auto& [cpu, loss] : losses_) {
    all += loss.count;
    where.append(where.empty() ? "CPU" : ", CPU").append(std::to_string(cpu)).append(": ");
    where.append(loss.isAtLeast ? "at least " : "").append(std::to_string(loss.count));
  }
  if (all > 0) metadata_.edit().lostEvents.push_back({"the recording (" + where + ")", all});
}

void EventImport::complete() {
  pwr::SystemDescription& system = metadata_.edit();
  system.collectionStopTimestamp = time_;
  system.collectionDurationSec =
      static_cast<double>(time_ - system.collectionStartTimestamp) / (1e6 * kClockMHz);
  if (metrics_->isDescribed(EventGroup::Process)) lives_.describe(system);
  tellLosses();
}

void EventImport::finish() {
  begin(time_);
  metrics_->finish(time_, sink_);
  complete();
  const auto container = static_cast<unsigned int>(eventGroups().size()) + 1;
  sink_.container(pwr::MetricContainerInfoMessage({.containerId = container,
                                                   .featureName = kRecordingTag,
                                                   .metricName = "Recording",
                                                   .heading = "Recording"}));
  counts_.deliver(container, sink_);
  counts_.tell();
  if (early_ == 0) return;
  warn(std::to_string(early_) +
       " events are older than the one before; they count as of the time of that");
}

}  // namespace tavrin
