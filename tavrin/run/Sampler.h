#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "tavrin/collect/Feature.h"
#include "tavrin/platform/StopRequest.h"
#include "tavrin/run/LatenessHistogram.h"
#include "tavrin/run/SampleQueue.h"

namespace tavrin {

/// How well the sampling kept its times.
struct SamplingReport {
  LatenessHistogram lateness;      ///< of all passes, in nanoseconds
  unsigned long long late = 0;     ///< passes that started later than a tenth of the interval
  unsigned long long missed = 0;   ///< deadlines that passed while an earlier pass still ran
  unsigned long long dropped = 0;  ///< passes left out because the queue was full

  /// Notes the start of a pass, `behind` its deadline.
  void noteStart(std::chrono::nanoseconds behind, std::chrono::nanoseconds interval);
};

/// When the passes of a run are.
struct SamplingTimes {
  std::chrono::nanoseconds interval;
  std::chrono::nanoseconds duration{0};  ///< from the first reading to the last; 0: until the stop
};

/// Samples the features in a thread of its own, on absolute deadlines: a pass that starts late does
/// not move the later ones. A pass that finds no room in the queue, or whose deadline has gone by,
/// is left out; counters go on counting, so the next pass covers the longer interval and no count
/// is lost. A last pass at the end of the duration, or at the stop, covers the rest.
///
/// Where a feature needs awake CPUs they are woken for the first readings and the last pass and,
/// unless that would disturb the machine too much, for every pass in between: if the interval is at
/// least 100 ms and 5 ms per CPU.
class Sampler {
 public:
  /// Takes the first readings and starts the thread. Everything passed must outlive the sampler.
  Sampler(std::vector<Feature*> features, SamplingTimes times, SampleQueue& queue,
          StopRequest& stop);
  /// Requests the stop and waits for the thread.
  ~Sampler();
  Sampler(const Sampler&) = delete;
  Sampler& operator=(const Sampler&) = delete;

  /// Time of the first readings, in ticks.
  unsigned long long startTicks() const { return startTicks_; }

  /// Waits for the end of the duration or the stop, and tells how it went. The queue has to be read
  /// until it is done.
  const SamplingReport& join();
  /// Time of the last readings, in ticks; 0 until they begin. The batches that wait in the queue
  /// are read after it.
  unsigned long long stopTicks() const { return stopTicks_; }

 private:
  void run();
  bool waitForPass(StopRequest::Clock::time_point deadline);
  void waitForTicks();
  void pass(unsigned long long now);
  void wake() const;

  std::vector<Feature*> features_;
  SamplingTimes times_;
  bool needsAwakeCpus_;
  bool wakesAlways_;
  SampleQueue& queue_;
  StopRequest& stop_;
  StopRequest::Clock::time_point start_;
  StopRequest::Clock::time_point end_;
  unsigned long long startTicks_ = 0;
  std::atomic<unsigned long long> stopTicks_ = 0;
  SamplingReport report_;
  std::thread thread_;
};

}  // namespace tavrin
