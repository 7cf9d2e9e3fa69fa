#include "tavrin/LineShipping.h"

#include <string_view>

#include "hostcommon/Platform.h"
#include "tavrin/common/CommandError.h"

namespace tavrin {

bool isShippedName(const std::string& name, const std::string& stem) {
  constexpr std::string_view kTime = "-dddddddd-dddddd-ddd_";  // d stands for a digit
  constexpr std::string_view kEnding = ".lp.gz";
  if (!name.starts_with(stem) || !name.ends_with(kEnding)) return false;
  std::string_view rest = std::string_view(name).substr(stem.size());
  if (rest.size() <= kTime.size() + kEnding.size()) return false;
  const auto isDigit = [](char letter) { return letter >= '0' && letter <= '9'; };
  for (const char wanted : kTime) {
    if (wanted == 'd' ? !isDigit(rest.front()) : rest.front() != wanted) return false;
    rest.remove_prefix(1);
  }
  rest.remove_suffix(kEnding.size());
  return rest.find_first_not_of("0123456789") == std::string_view::npos;
}

bool LineShipping::takes(const std::string& path) const {
  return thread_ != nullptr &&
         isShippedName(path.substr(pwr::platform::folderOf(path).size()), stem_);
}

}  // namespace tavrin

#if defined(PW_SHIP)

#include <array>
#include <chrono>
#include <ctime>
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

bool isAsked(const ShipOptions& options) {
  return !options.to.empty() || !options.config.empty();
}

ShipOptions following(ShipOptions options) {
  options.follow = true;
  return options;
}

std::string startSuffix() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto milliseconds =
      std::chrono::floor<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "-%Y%m%d-%H%M%S-", &parts);
  return std::string(text.data(), size) + std::to_string(1000 + milliseconds).substr(1);
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
  if (!isAsked(options_)) return;
  if (options.output == "console") {
    throw CommandError(kExitUsage, "--ship sends files, and '-o console' makes none");
  }
  thread_ = std::make_unique<Thread>(options_);
  suffix_ = startSuffix();
}

LineShipping::~LineShipping() = default;

void LineShipping::start(const std::string& baseName) {
  if (thread_ == nullptr) return;
  std::string folder = pwr::platform::folderOf(baseName);
  stem_ = baseName.substr(folder.size());
  stem_.resize(stem_.size() - suffix_.size());
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
  if (options_.to.empty() && options_.config.empty()) return;
  throw CommandError(kExitUsage, "--ship is not in this build: it needs libcurl and zlib");
}

LineShipping::~LineShipping() = default;

void LineShipping::start(const std::string& /*baseName*/) {}

void LineShipping::finish(const StopRequest& /*stop*/) {}

}  // namespace tavrin

#endif
