#include "hostcommon/session/HostError.h"
#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"

#if defined(__linux__)

#include <chrono>
#include <set>
#include <utility>

#include "hostcommon/session/MessageSink.h"
#include "hostcommon/session/Session.h"
#include "tavrin/HostSetup.h"
#include "tavrin/LiveFeatures.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/KernelTracing.h"
#include "tavrin/platform/Interrupt.h"
#include "tavrin/platform/SamplingThread.h"
#include "tavrin/run/Sampler.h"
#include "tavrin/watch/LiveScreen.h"

namespace tavrin {

namespace {

/// Passes that may wait while standard output takes its time.
constexpr std::size_t kWatchQueueCapacity = 16;
constexpr std::chrono::milliseconds kWatchLoopPeriod{250};

/// The choice of columns, of which each has to name something that this machine has.
LiveTable::Choice choiceOf(const Options& options, const LiveFeatures& features) {
  std::set<std::string> known;
  for (const Feature* feature : features.present()) {
    for (const pwr::MetricDescription* metric : feature->metrics()) {
      for (std::string& name : LiveTable::namesOf(*metric)) known.insert(std::move(name));
    }
  }
  std::vector<std::string> names(known.begin(), known.end());
  names.emplace_back("all");
  pwr::requireKnown(options.show, names, "column");
  pwr::requireKnown(options.hide, names, "column");
  return {options.show, options.hide};
}

/// Has the table take what the kernel has traced.
class TableSink final : public pwr::MessageSink {
 public:
  explicit TableSink(LiveTable& table) : table_(table) {}

  void metric(pwr::Metric& metric) override { table_.add(metric); }
  void system(const pwr::SystemMetadata& /*metadata*/) override {}
  void container(const pwr::MetricContainerInfoMessage& /*message*/) override {}
  void remainder(pwr::Metric& /*metric*/) override {}
  void table(const pwr::TableMessage& /*message*/) override {}
  void text(const pwr::TextMessage& /*message*/) override {}
  void id(const pwr::IdMessage& /*message*/) override {}
  void flush() override {}

 private:
  LiveTable& table_;
};

/// Up to now, and no further: of what is traced there may always be more.
void takeTraced(KernelTracing& tracing, pwr::MessageSink& sink) {
  const unsigned long long now = nowTicks();
  while (tracing.deliver(now, sink)) continue;
}

double secondsBetween(unsigned long long start, unsigned long long end) {
  return static_cast<double>(end - start) / kTicksPerSecond;
}

}  // namespace

int runWatch(const Options& options) {
  setUpHost(options);
  const LiveFeatures features(options);
  LiveTable table(choiceOf(options, features), kTicksPerSecond);
  StopRequest stop;
  const Interrupt interrupt(stop);
  SampleQueue queue(kWatchQueueCapacity);
  KernelTracing* const tracing = features.tracing();
  if (tracing != nullptr) tracing->start();
  Sampler sampler(features.present(), samplingTimes(options.watchIntervalMs, options), queue, stop);
  if (tracing != nullptr) tracing->begin(sampler.startTicks());
  TableSink sink(table);
  LiveScreen screen;
  unsigned long long end = sampler.startTicks();
  while (!queue.isDone()) {
    SampleBatch* const batch = queue.beginRead(kWatchLoopPeriod);
    if (tracing != nullptr) takeTraced(*tracing, sink);
    if (batch == nullptr) continue;
    for (const pwr::Metric& metric : *batch) table.add(metric);
    const unsigned long long start = std::exchange(end, batch->time());
    queue.endRead();
    screen.show(table.take(secondsBetween(start, end)), secondsBetween(sampler.startTicks(), end));
    if (std::ferror(stdout) != 0) stop.request();
  }
  sampler.join();
  if (tracing != nullptr) {
    tracing->stop(end);
    tracing->finish(sink);
    pwr::warnOfLostEvents({tracing->lostEvents()});
  }
  return kExitDone;
}

}  // namespace tavrin

#else

namespace tavrin {

int runWatch(const Options& /*options*/) {
  throw CommandError(kExitUsage, "live collection is available on Linux only");
}

}  // namespace tavrin

#endif
