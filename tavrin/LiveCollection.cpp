#include "tavrin/LiveCollection.h"

#include <chrono>
#include <utility>

#include "hostcommon/session/Session.h"
#include "tavrin/collect/KernelTracing.h"
#include "tavrin/common/MetricSink.h"
#include "tavrin/platform/SamplingThread.h"
#include "tavrin/run/Sampler.h"

namespace tavrin {

namespace {

/// Passes that may wait while the taker takes its time.
constexpr std::size_t kLiveQueueCapacity = 16;
constexpr std::chrono::milliseconds kLiveLoopPeriod{250};

/// Hands over what the kernel has traced.
class TracedSink final : public MetricSink {
 public:
  explicit TracedSink(LiveTaker& taker) : taker_(taker) {}

  void metric(pwr::Metric& metric) override { taker_.traced(metric); }

 private:
  LiveTaker& taker_;
};

/// Up to now, and no further: of what is traced there may always be more.
void takeTraced(KernelTracing& tracing, pwr::MessageSink& sink) {
  const unsigned long long now = nowTicks();
  while (tracing.deliver(now, sink)) continue;
}

}  // namespace

void collectLive(const LiveFeatures& features, const SamplingTimes& times, StopRequest& stop,
                 LiveTaker& taker) {
  SampleQueue queue(kLiveQueueCapacity);
  KernelTracing* const tracing = features.tracing();
  if (tracing != nullptr) tracing->start();
  Sampler sampler(features.present(), times, queue, stop);
  if (tracing != nullptr) tracing->begin(sampler.startTicks());
  TracedSink sink(taker);
  unsigned long long end = sampler.startTicks();
  while (!queue.isDone()) {
    const SampleBatch* const batch = queue.beginRead(kLiveLoopPeriod);
    if (tracing != nullptr) takeTraced(*tracing, sink);
    if (batch == nullptr) continue;
    const unsigned long long start = std::exchange(end, batch->time());
    taker.pass(*batch, start, sampler.startTicks());
    queue.endRead();
  }
  sampler.join();
  if (tracing == nullptr) return;
  tracing->stop(end);
  tracing->finish(sink);
  pwr::warnOfLostEvents({tracing->lostEvents()});
}

}  // namespace tavrin
