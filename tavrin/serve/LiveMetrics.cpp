#include "tavrin/serve/LiveMetrics.h"

#include <set>
#include <string>
#include <utility>

#include "hostcommon/Version.h"

namespace tavrin {

namespace {

constexpr const char* kBuildInfo = "tavrin_build_info";
constexpr const char* kStartTime = "tavrin_start_time_seconds";
constexpr const char* kSamples = "tavrin_samples_total";
constexpr const char* kMissed = "tavrin_samples_missed_total";
constexpr const char* kSeries = "tavrin_series";
constexpr const char* kLeftOut = "tavrin_values_left_out_total";

/// A family of one series.
prometheus::MetricFamily familyOfOne(const char* name, const char* help,
                                     prometheus::MetricType type, double value) {
  prometheus::ClientMetric metric;
  (type == prometheus::MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
  return {name, help, type, {std::move(metric)}};
}

}  // namespace

LiveMetrics::LiveMetrics(double ticksPerSecond, double startSeconds, LiveFamilies::Limits limits)
    : startSeconds_(startSeconds),
      families_(ticksPerSecond, limits,
                {kBuildInfo, kStartTime, kSamples, kMissed, kSeries, kLeftOut}) {}

void LiveMetrics::addTraced(const pwr::Metric& metric) {
  const std::lock_guard lock(mutex_);
  families_.add(metric, now_);
}

unsigned long long LiveMetrics::addPass(const SampleBatch& pass) {
  const std::lock_guard lock(mutex_);
  now_ = pass.time();
  for (const pwr::Metric& metric : pass) families_.add(metric, now_);
  families_.endPass(now_);
  ++passes_;
  missed_ = pass.missed();
  return families_.leftOut();
}

std::vector<prometheus::MetricFamily> LiveMetrics::ownFamilies() const {
  using Type = prometheus::MetricType;
  std::vector<prometheus::MetricFamily> families;
  const auto add = [&](const char* name, const char* help, Type type, auto value) {
    families.push_back(familyOfOne(name, help, type, static_cast<double>(value)));
  };
  add(kBuildInfo, "1, with the version", Type::Gauge, 1);
  families.back().metric.front().label.push_back({"version", pwr::kVersion});
  add(kStartTime, "When the collection began, since 1970", Type::Gauge, startSeconds_);
  add(kSamples, "Passes over all features", Type::Counter, passes_);
  add(kMissed, "Passes left out, whose time is part of the next one", Type::Counter, missed_);
  add(kSeries, "Series that are told of the features", Type::Gauge, families_.seriesCount());
  add(kLeftOut, "Values left out because there are too many series", Type::Counter,
      families_.leftOut());
  return families;
}

std::vector<prometheus::MetricFamily> LiveMetrics::Collect() const {
  const std::lock_guard lock(mutex_);
  std::vector<prometheus::MetricFamily> families = ownFamilies();
  for (prometheus::MetricFamily& family : families_.collect()) {
    families.push_back(std::move(family));
  }
  return families;
}

}  // namespace tavrin
