#include "tavrin/run/Sampler.h"

#include <algorithm>

#include "tavrin/platform/SamplingThread.h"

namespace tavrin {

namespace {

constexpr std::chrono::milliseconds kShortestToWake{100};
constexpr std::chrono::milliseconds kShortestToWakePerCpu{5};

}  // namespace

void SamplingReport::noteStart(std::chrono::nanoseconds behind, std::chrono::nanoseconds interval) {
  lateness.add(static_cast<std::uint64_t>(behind.count()));
  if (behind > interval / 10) ++late;
}

Sampler::Sampler(std::vector<Feature*> features, SamplingTimes times, SampleQueue& queue,
                 StopRequest& stop)
    : features_(std::move(features)),
      times_(times),
      needsAwakeCpus_(std::ranges::any_of(features_, &Feature::needsAwakeCpus)),
      wakesAlways_(times.interval >= kShortestToWake &&
                   times.interval >= kShortestToWakePerCpu * std::thread::hardware_concurrency()),
      queue_(queue),
      stop_(stop) {
  SampleBatch baseline;
  wake();
  startTicks_ = nowTicks();
  start_ = StopRequest::Clock::now();
  const bool isLimited = times.duration.count() > 0;
  end_ = isLimited ? start_ + times.duration : StopRequest::Clock::time_point::max();
  for (Feature* feature : features_) feature->sample(startTicks_, baseline);
  thread_ = std::thread([this] { run(); });
}

Sampler::~Sampler() {
  stop_.request();
  join();
}

const SamplingReport& Sampler::join() {
  if (thread_.joinable()) thread_.join();
  return report_;
}

void Sampler::wake() const {
  if (needsAwakeCpus_) wakeCpus();
}

void Sampler::pass(unsigned long long now) {
  SampleBatch* const batch = queue_.beginFill();
  if (batch == nullptr) {
    ++report_.dropped;
    return;
  }
  batch->setTime(now);
  batch->setMissed(report_.missed + report_.dropped);
  for (Feature* feature : features_) feature->sample(now, *batch);
  queue_.endFill();
}

/// False when the last pass is due instead.
bool Sampler::waitForPass(StopRequest::Clock::time_point deadline) {
  return !stop_.waitUntil(std::min(deadline, end_)) && deadline < end_;
}

/// The clock of the ticks may be slower than the one that is waited by, and the duration is not to
/// fall short of what was asked for.
void Sampler::waitForTicks() {
  const auto wanted = startTicks_ + static_cast<unsigned long long>(times_.duration.count());
  for (auto now = nowTicks(); now < wanted && !stop_.isRequested(); now = nowTicks()) {
    stop_.waitUntil(StopRequest::Clock::now() + std::chrono::nanoseconds(wanted - now));
  }
}

void Sampler::run() {
  wakeAtDeadlines();
  const auto afterFirst = StopRequest::Clock::now();
  auto deadline = start_ + times_.interval;
  // The first readings open files, which may take longer than an interval: the first one is longer.
  while (deadline < afterFirst) deadline += times_.interval;
  while (waitForPass(deadline)) {
    report_.noteStart(StopRequest::Clock::now() - deadline, times_.interval);
    if (wakesAlways_) wake();
    pass(nowTicks());
    deadline += times_.interval;
    if (const auto behind = StopRequest::Clock::now() - deadline; behind.count() > 0) {
      const auto missed = behind / times_.interval + 1;
      report_.missed += static_cast<unsigned long long>(missed);
      deadline += missed * times_.interval;
    }
  }
  // The last pass must not be left out: wait for the writer thread to make room.
  while (queue_.beginFill() == nullptr) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  for (Feature* feature : features_) feature->expectLast();
  wake();
  waitForTicks();
  const unsigned long long stop = nowTicks();
  stopTicks_ = stop;
  pass(stop);
  queue_.close();
}

}  // namespace tavrin
