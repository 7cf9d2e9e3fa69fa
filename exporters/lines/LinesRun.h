#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "exporters/lines/LineClock.h"
#include "exporters/lines/LineOutput.h"
#include "exporters/lines/LineTally.h"
#include "exporters/lines/MetricLines.h"
#include "writers/host/Metric.h"
#include "writers/host/SystemMessage.h"

namespace lines {

/// What the user may set.
struct LinesOptions {
  /// The wall clock's time at the start of the collection, in nanoseconds since 1970; that of the
  /// recording where it is not given.
  std::optional<std::uint64_t> startNs{};
  std::uint64_t mostSeries = 10'000;
};

/// The lines of a run. Points are written as they come: nothing of them is kept.
class LinesRun {
 public:
  /// Null, with the cause logged, when the file cannot be created.
  static std::unique_ptr<LinesRun> open(const std::string& baseName, bool continuous,
                                        const LinesOptions& options);

  /// 1, with what to do logged, when neither the recording nor the options tell the wall clock's
  /// time: there are no lines without it, and the output is not complete.
  int write(const pwr::SystemMessage& message);
  int write(const pwr::Metric& metric);
  bool flush(const pwr::SystemMetadata& metadata);
  int close();

 private:
  LinesRun(const std::string& baseName, bool continuous, const LinesOptions& options)
      : options_(options),
        continuous_(continuous),
        tally_(options.mostSeries),
        output_(baseName, continuous) {}

  bool begin(const pwr::SystemMetadata& system);
  void makeRoom(std::uint64_t time);
  MetricLines& find(const pwr::MetricDescription& metric);

  const LinesOptions options_;
  const bool continuous_;
  LineTally tally_;
  LineOutput output_;
  RunNames names_;
  std::optional<LineClock> clock_;
  bool isTimeless_ = false;  // without a clock, which has been told
  std::uint64_t day_ = 0;    // the latest one so far
  std::unordered_map<unsigned int, MetricLines> metrics_;
  unsigned int lastId_ = 0;
  MetricLines* last_ = nullptr;
};

}  // namespace lines
