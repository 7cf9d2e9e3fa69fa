#include "exporters/lines/LinesRun.h"

#include <utility>

#include "hostcommon/SeriesNames.h"
#include "writers/common/TextLog.h"
#include "writers/common/TimeScale.h"

namespace lines {

namespace {

/// For a run that no system message began.
const pwr::SystemMetadata g_noSystem;

}  // namespace

std::unique_ptr<LinesRun> LinesRun::open(const std::string& baseName, bool continuous,
                                         const LinesOptions& options) {
  std::unique_ptr<LinesRun> run(new LinesRun(baseName, continuous, options));
  return run->output_.open() ? std::move(run) : nullptr;
}

int LinesRun::write(const pwr::SystemMessage& message) {
  if (clock_) return 0;  // a run has one clock
  return begin(*message.getSystemMetadata()) ? 0 : 1;
}

bool LinesRun::begin(const pwr::SystemMetadata& system) {
  const std::uint64_t start = options_.startNs.value_or(system.getCollectionStartTimeNs());
  if (start == 0) {
    if (std::exchange(isTimeless_, true)) return false;
    PW_LOG(kPlainLog, PW_LOG_ERROR,
           "ERROR: The writer lines needs the time of day, which the recording does not tell: give "
           "its start as --start-time 2026-11-22T19:00:00Z.\n");
    return false;
  }
  clock_.emplace(system, start);
  names_.ticksPerSecond = usableTicksPerMicrosecond(system.getTscFrequencyMHz()) * 1e6;
  if (!pwr::appendTag(names_.host, "host", system.getHostName())) ++tally_.cutTexts;
  return true;
}

int LinesRun::write(const pwr::Metric& metric) {
  if (!clock_ && !begin(g_noSystem)) return 1;
  const pwr::Metric::DataPoint& point = metric.getData();
  const std::optional<std::uint64_t> time = clock_->nanoseconds(point.timestamp);
  if (!time) {
    tally_.outOfTime += point.elements.size();
    return 0;
  }
  makeRoom(*time);
  output_.setTime(*time);
  find(*metric.getDescription()).add(metric);
  return 0;
}

/// The indexes of engines are of days: with each new one the series that come and go count anew. A
/// long run would not name a new process any more otherwise.
void LinesRun::makeRoom(std::uint64_t time) {
  constexpr std::uint64_t kDay = 86'400'000'000'000;
  const std::uint64_t day = time / kDay;
  if (day <= day_) return;  // times may go back
  day_ = day;
  if (!tally_.isReached()) return;
  for (auto& [id, metric] : metrics_) metric.forgetTagged();
}

MetricLines& LinesRun::find(const pwr::MetricDescription& metric) {
  if (last_ == nullptr || lastId_ != metric.id) {
    last_ = &metrics_.try_emplace(metric.id, metric, names_, output_, tally_).first->second;
    lastId_ = metric.id;
  }
  return *last_;
}

bool LinesRun::flush(const pwr::SystemMetadata& /*metadata*/) {
  if (isTimeless_) return true;  // there is nothing to write, which has been told
  // The file of a whole run must not depend on another.
  return continuous_ && output_.flush();
}

int LinesRun::close() {
  tally_.tell();
  if (!isTimeless_) return output_.close();
  output_.discard();
  return 1;
}

}  // namespace lines
