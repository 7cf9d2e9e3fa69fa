#include "tavrin/run/Sampler.h"

#include <algorithm>

#include "tavrin/platform/SamplingThread.h"

namespace tavrin {

namespace {

constexpr std::chrono::milliseconds kShortestToWake{100};
constexpr std::chrono::milliseconds kShortestToWakePerCpu{5};

}  // namespace

Sampler::Sampler(std::vector<Feature*> features, std::chrono::nanoseconds interval,
                 SampleQueue& queue, StopRequest& stop)
    : features_(std::move(features)),
      interval_(interval),
      needsAwakeCpus_(std::ranges::any_of(features_, &Feature::needsAwakeCpus)),
      wakesAlways_(interval >= kShortestToWake &&
                   interval >= kShortestToWakePerCpu * std::thread::hardware_concurrency()),
      queue_(queue),
      stop_(stop) {
  SampleBatch baseline;
  wake();
  startTicks_ = stopTicks_ = nowTicks();
  start_ = StopRequest::Clock::now();
  for (Feature* feature : features_) feature->sample(startTicks_, baseline);
  thread_ = std::thread([this] { run(); });
}

Sampler::~Sampler() {
  join();
}

const SamplingReport& Sampler::join() {
  if (thread_.joinable()) thread_.join();
  return report_;
}

void Sampler::wake() const {
  if (needsAwakeCpus_) wakeCpus();
}

void Sampler::pass() {
  SampleBatch* const batch = queue_.beginFill();
  if (batch == nullptr) {
    ++report_.dropped;
    return;
  }
  stopTicks_ = nowTicks();
  for (Feature* feature : features_) feature->sample(stopTicks_, *batch);
  queue_.endFill();
}

void Sampler::run() {
  wakeAtDeadlines();
  for (auto deadline = start_ + interval_; !stop_.waitUntil(deadline);) {
    const auto lateness = StopRequest::Clock::now() - deadline;
    report_.lateness.add(static_cast<std::uint64_t>(lateness.count()));
    if (lateness > interval_ / 10) ++report_.late;
    if (wakesAlways_) wake();
    pass();
    deadline += interval_;
    if (const auto behind = StopRequest::Clock::now() - deadline; behind.count() > 0) {
      const auto missed = behind / interval_ + 1;
      report_.missed += static_cast<unsigned long long>(missed);
      deadline += missed * interval_;
    }
  }
  // The last pass must not be left out: wait for the writer thread to make room.
  while (queue_.beginFill() == nullptr) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  wake();
  pass();
  queue_.close();
}

}  // namespace tavrin
