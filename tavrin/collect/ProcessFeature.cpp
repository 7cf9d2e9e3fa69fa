#include "tavrin/collect/ProcessFeature.h"

#include <algorithm>
#include <utility>

#include "formats/metric_kinds.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/summary/MetricTables.h"
#include "tavrin/collect/Interval.h"

namespace tavrin {

namespace {

// Numbers of tables in the container, below those that are made of metrics.
constexpr unsigned int kUseTable = 0;
constexpr unsigned int kLifetimeTable = 1;

unsigned long long growth(unsigned long long before, unsigned long long after) {
  return after > before ? after - before : 0;
}

/// Of a process, as it was last read. `isThere`: it has not ended.
TopRows::Row rowOf(const PolledProcess& process, bool isThere) {
  const SchedTimes ranBefore = process.before.value_or(SchedTimes());
  const SchedTimes ran = process.after.value_or(ranBefore);
  const ProcessStatus first = process.first.value_or(ProcessStatus());
  const ProcessStatus last = process.last.value_or(first);
  const auto memory = [](bool isKnown, unsigned long long kibibytes) {
    return isKnown && kibibytes > 0 ? pwr::Data(kibibytes) : pwr::Data("n/a");
  };
  return {process.stat.name + " (" + std::to_string(process.pid) + ")",
          {process.used, growth(ranBefore.waited, ran.waited),
           growth(first.voluntary, last.voluntary), growth(first.involuntary, last.involuntary)},
          {memory(true, last.peakKiB), memory(isThere, last.residentKiB)}};
}

}  // namespace

ProcessFeature::ProcessFeature(std::shared_ptr<ProcessPoll> poll, std::shared_ptr<StatFile> stat)
    : Feature("process", "Processes", "Processor time, switches and memory of processes"),
      poll_(std::move(poll)),
      stat_(std::move(stat)) {}

std::string ProcessFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                  unsigned int containerId) {
  std::string whyAbsent = poll_->open(root);
  if (!whyAbsent.empty()) return whyAbsent;
  stat_->open(root);
  ranks_.create();
  others_ = poll_->attributesNamed(kOtherProcesses);
  const pwr::Quantity* const time =
      pwr::createQuantity({.type = pwr::QuantityType::Other, .name = "CPU Time", .units = "ms"});
  addMetric(pwr::createMetric(
      {.containerId = containerId,
       .name = "Process CPU Time",
       .featureTag = tag(),
       .type = pwr::Metric::MetricType::TracedEvent,
       .legacyType = pwr::RealTableClass::Trace,
       .quantity = time,
       .combinations = ranks_.combinations(),
       .descriptorGroup = std::make_shared<const pwr::Field>(kRankGroup),
       .valueGroup = std::make_shared<const pwr::Field>("CPU Time", poll_->expected())}));
  return {};
}

void ProcessFeature::sample(unsigned long long now, SampleBatch& batch) {
  poll_->pollAt(now);
  forks_ = stat_->forksAt(now);
  if (std::exchange(isFirst_, false)) {
    forksAtStart_ = forks_;
    atStart_ = poll_->processes().size();
  }
  for (const PolledProcess& process : poll_->gone()) rows_.add(rowOf(process, false));
  IntervalPoint point(batch, metrics().front(), poll_->interval());
  const auto add = [&](unsigned long long spent, const pwr::DataDescriptor* rank,
                       std::shared_ptr<const pwr::AttributeValueManager> whose) {
    const double milliseconds = static_cast<double>(spent) / kTicksPerMillisecond;
    point.add(pwr::Data(milliseconds), rank, nullptr).setAttributes(std::move(whose));
  };
  const std::size_t shown = std::min(Ranks::kMost, poll_->busy().size());
  unsigned long long others = poll_->spent();
  for (std::size_t i = 0; i < shown; ++i) {
    PolledProcess& process = *poll_->busy()[i];
    add(process.spent, ranks_.of(i), poll_->attributesOf(process));
    others -= process.spent;
  }
  if (others > 0) add(others, ranks_.others(), others_);
}

void ProcessFeature::finish(pwr::SystemDescription& system, pwr::MessageSink& sink) {
  poll_->finish();
  for (const ProcessPoll::Known& known : poll_->processes()) {
    if (known.process->isReadable) rows_.add(rowOf(*known.process, true));
  }
  poll_->lives().describe(system);
  deliverUse(sink);
  deliverLifetimes(system, sink);
}

void ProcessFeature::deliverUse(pwr::MessageSink& sink) const {
  pwr::TableBuilder table(containerId(), kUseTable,
                          "Process Summary: CPU Time, Switches and Memory",
                          "As last read, for a process that has ended. Waiting for a processor and "
                          "switches are those of the main thread.");
  table.column("Process");
  table.column("CPU Time", pwr::Quantity::time());
  table.column("Waiting", pwr::Quantity::time());
  for (const char* const name :
       {"Voluntary Switches", "Involuntary Switches", "Peak Memory (KiB)", "Memory (KiB)"}) {
    table.column(name);
  }
  rows_.appendTo(table,
                 [](std::size_t /*place*/, unsigned long long sum) { return pwr::Data(sum); });
  table.deliver([&](const pwr::TableMessage& message) { sink.table(message); });
}

void ProcessFeature::deliverLifetimes(const pwr::SystemDescription& system,
                                      pwr::MessageSink& sink) const {
  const auto unreadable = std::ranges::count_if(
      poll_->processes(), [](const auto& known) { return !known.process->isReadable; });
  const auto threads = std::ranges::count_if(system.threads, [&](const pwr::Thread& thread) {
    return thread.getTid() != thread.getPid() &&
           thread.getStartTime() >= system.collectionStartTimestamp;
  });
  const unsigned long long seen = poll_->joined() + static_cast<unsigned long long>(threads);
  const bool isCounted = forks_ && forksAtStart_ && *forks_ >= *forksAtStart_;
  const unsigned long long forks = isCounted ? *forks_ - *forksAtStart_ : 0;
  pwr::TableBuilder table(
      containerId(), kLifetimeTable, "Process Summary: Lifetimes",
      "Not seen are processes that came and ended between two passes, and threads "
      "that ended before the collection.");
  table.column("Processes");
  table.column("Count");
  table.row({pwr::Data("There at the start"), pwr::Data(atStart_)});
  table.row({pwr::Data("Came during the run"), pwr::Data(poll_->joined())});
  table.row({pwr::Data("Ended during the run"), pwr::Data(poll_->left())});
  table.row({pwr::Data("Cannot be read"), pwr::Data(unreadable)});
  table.row({pwr::Data("Started, with threads"), isCounted ? pwr::Data(forks) : pwr::Data("n/a")});
  table.row({pwr::Data("Started and not seen"),
             isCounted ? pwr::Data(growth(seen, forks)) : pwr::Data("n/a")});
  table.row({pwr::Data("Lifetimes forgotten"), pwr::Data(poll_->lives().forgotten())});
  table.deliver([&](const pwr::TableMessage& message) { sink.table(message); });
}

}  // namespace tavrin
