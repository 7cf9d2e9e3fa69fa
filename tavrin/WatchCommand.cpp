#include "hostcommon/session/HostError.h"
#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"

#if defined(__linux__)

#include <cstdio>
#include <set>
#include <utility>

#include "tavrin/HostSetup.h"
#include "tavrin/LiveCollection.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/platform/Interrupt.h"
#include "tavrin/watch/LiveScreen.h"

namespace tavrin {

namespace {

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

double secondsBetween(unsigned long long start, unsigned long long end) {
  return static_cast<double>(end - start) / kTicksPerSecond;
}

/// Shows each pass.
class Watcher final : public LiveTaker {
 public:
  Watcher(LiveTable::Choice choice, StopRequest& stop)
      : table_(std::move(choice), kTicksPerSecond), stop_(stop) {}

  void traced(const pwr::Metric& metric) override { table_.add(metric); }
  void pass(const SampleBatch& batch, unsigned long long start,
            unsigned long long runStart) override {
    for (const pwr::Metric& metric : batch) table_.add(metric);
    screen_.show(table_.take(secondsBetween(start, batch.time())),
                 secondsBetween(runStart, batch.time()));
    if (std::ferror(stdout) != 0) stop_.request();
  }

 private:
  LiveTable table_;
  LiveScreen screen_;
  StopRequest& stop_;
};

}  // namespace

int runWatch(const Options& options) {
  setUpHost(options);
  const LiveFeatures features(options, nullptr, 0);  // what has ended is not told of
  StopRequest stop;
  Watcher watcher(choiceOf(options, features), stop);
  const Interrupt interrupt(stop);
  collectLive(features, samplingTimes(options.watchIntervalMs, options), stop, watcher);
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
