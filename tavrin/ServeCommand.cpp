#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"

#if defined(PW_SERVE)

#include <chrono>
#include <memory>

#include "tavrin/HostSetup.h"
#include "tavrin/LiveCollection.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/common/Messages.h"
#include "tavrin/platform/Interrupt.h"
#include "tavrin/serve/LiveMetrics.h"
#include "tavrin/serve/MetricsServer.h"

namespace tavrin {

namespace {

/// Hands each pass to those who scrape.
class Publisher final : public LiveTaker {
 public:
  explicit Publisher(LiveMetrics& metrics) : metrics_(metrics) {}

  void traced(const pwr::Metric& metric) override { metrics_.addTraced(metric); }
  void pass(const SampleBatch& batch, unsigned long long /*start*/,
            unsigned long long /*runStart*/) override {
    const unsigned long long leftOut = metrics_.addPass(batch);
    if (leftOut == 0 || isTold_) return;
    warn("there are too many series: values of further ones are left out");
    isTold_ = true;
  }

 private:
  LiveMetrics& metrics_;
  bool isTold_ = false;
};

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

int runServe(const Options& options) {
  setUpHost(options);
  const ListenAddress address = parseListenAddress(options.listen);
  const LiveFeatures features(options, nullptr, 0);  // what has ended is not told of
  StopRequest stop;
  const Interrupt interrupt(stop);
  const auto metrics = std::make_shared<LiveMetrics>(kTicksPerSecond, secondsSince1970());
  const MetricsServer server(address, metrics);
  inform("live values are at " + server.url());
  if (!address.isLoopback) {
    warn("whoever reaches " + address.text() + " can read them: no password, no encryption");
  }
  Publisher publisher(*metrics);
  collectLive(features, samplingTimes(options.watchIntervalMs, options), stop, publisher);
  return kExitDone;
}

}  // namespace tavrin

#else

namespace tavrin {

int runServe(const Options& /*options*/) {
#if defined(__linux__)
  throw CommandError(kExitUsage, "this build has no 'serve': prometheus-cpp was missing");
#else
  throw CommandError(kExitUsage, "live collection is available on Linux only");
#endif
}

}  // namespace tavrin

#endif
