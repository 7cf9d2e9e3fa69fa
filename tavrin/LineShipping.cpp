#include "tavrin/LineShipping.h"

#include <string_view>

#include "hostcommon/Platform.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/service/RunNames.h"

namespace tavrin {

bool isShippedName(const std::string& name, const std::string& stem) {
  const std::string_view rest = restOfRunName(name, stem);
  return isNumberedRest(rest) && rest.substr(rest.find('.')) == ".lp.gz";
}

bool LineShipping::takes(const std::string& path) const {
  return thread_ != nullptr &&
         isShippedName(path.substr(pwr::platform::folderOf(path).size()), stem_);
}

}  // namespace tavrin

#if defined(PW_SHIP)

#include <chrono>
#include <future>
#include <thread>
#include <utility>

#include "tavrin/common/Messages.h"
#include "tavrin/ship/ShipConfig.h"
#include "tavrin/ship/ShipStatistics.h"
#include "tavrin/ship/Shipper.h"

namespace tavrin {

namespace {

constexpr std::chrono::milliseconds kLookPeriod{50};

ShipOptions following(ShipOptions options) {
  options.follow = true;
  return options;
}

}  // namespace

struct LineShipping::Thread {
  explicit Thread(const ShipOptions& options)
      : endpoints(ShipConfig(options.config).endpoints(options.to)) {}
  ~Thread() {
    stop.request();
    if (thread.joinable()) thread.join();
  }

  const std::vector<Endpoint> endpoints;
  StopRequest stop;
  std::unique_ptr<Shipper> shipper;
  std::thread thread;
  std::promise<void> ended;
};

LineShipping::LineShipping(const Options& options) : options_(following(options.ship)) {
  if (!options_.isAsked()) return;
  if (options.output == "console") {
    throw CommandError(kExitUsage, "--ship sends files, and '-o console' makes none");
  }
  thread_ = std::make_unique<Thread>(options_);
}

LineShipping::~LineShipping() = default;

void LineShipping::start(const std::string& baseName, const std::string& suffix) {
  if (thread_ == nullptr) return;
  std::string folder = pwr::platform::folderOf(baseName);
  stem_ = baseName.substr(folder.size());
  stem_.resize(stem_.size() - suffix.size());
  if (folder.size() > 1) folder.pop_back();
  Thread& thread = *thread_;
  thread.shipper = std::make_unique<Shipper>(
      options_, thread.endpoints, folder.empty() ? "." : folder,
      [stem = stem_](const std::string& name) { return isShippedName(name, stem); });
  thread.thread = std::thread([&thread] {
    thread.shipper->run(thread.stop, nullptr);
    thread.ended.set_value();
  });
}

void LineShipping::finish(const StopRequest& stop) {
  if (thread_ == nullptr) return;
  thread_->shipper->endWithin(std::chrono::duration_cast<Shipper::Clock::duration>(
      std::chrono::duration<double>(options_.waitSec)));
  const auto ended = thread_->ended.get_future();
  bool isTold = false;
  while (ended.wait_for(kLookPeriod) != std::future_status::ready) {
    if (stop.isRequested()) {
      thread_->stop.request();
    } else if (!std::exchange(isTold, true)) {
      inform("waiting for acknowledgements, for " + timeText(options_.waitSec) +
             " at most; Ctrl-C ends it");
    }
  }
  thread_->thread.join();
  thread_->shipper->tellOutcome();
}

}  // namespace tavrin

#else

namespace tavrin {

struct LineShipping::Thread {};

LineShipping::LineShipping(const Options& options) : options_(options.ship) {
  if (!options_.isAsked()) return;
  throw CommandError(kExitUsage, "--ship is not in this build: it needs libcurl and zlib");
}

LineShipping::~LineShipping() = default;

void LineShipping::start(const std::string& /*baseName*/, const std::string& /*suffix*/) {}

void LineShipping::finish(const StopRequest& /*stop*/) {}

}  // namespace tavrin

#endif
