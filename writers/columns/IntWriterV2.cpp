#include "writers/columns/IntWriterV2.h"

#include "writers/columns/TraceTables.h"
#include "writers/common/TextLog.h"
#include "writers/host/HostFunctions.h"
#include "writers/host/Quantity.h"

namespace {

const std::string kNothing;
const std::string kNotAvailable = "n/a";
constexpr const char* kTraceExtension = "_trace.csv";

}  // namespace

IntWriterV2::IntWriterV2()
    : IntWriterV2(
          "b1e44565-005f-46ea-9fbb-34ea6bc01203",
          new pwr::WriterPluginCapability(
              {}, "int", "Write data trace file (*_trace.csv) in CSV format", kTraceExtension,
              false, {std::string("BASE") + kTraceExtension}),
          kTraceExtension,
          [showsTicks = pwr::showsTicks()](const std::string& baseName, bool /*continuous*/) {
            return TraceTables::open(baseName + kTraceExtension, showsTicks);
          }) {}

IntWriterV2::IntWriterV2(const std::string& guid, pwr::WriterPluginCapability* capability,
                         const std::string& extension, MakeRun makeRun)
    : RunWriter(guid, capability, kTextLog, std::move(makeRun)),
      extension_(extension),
      showsResidencyTicks_(pwr::check_env("PW_DO_TIMELINE_RESIDENCY_TICKS")) {}

IntWriterV2::~IntWriterV2() = default;

int IntWriterV2::openOutput(const std::string& baseName, bool continuous) {
  if (!isOpen()) outputPath_ = baseName + extension_;
  return RunWriter::openOutput(baseName, continuous);
}

int IntWriterV2::closeOutput() {
  if (isOpen()) return RunWriter::closeOutput();
  PW_LOG(kTextLog, PW_LOG_WARNING, "WARNING: Output file %s does not exist\n", outputPath_.c_str());
  return 1;
}

int IntWriterV2::writeMessage(const pwr::Metric& metric) {
  if (!isOpenFor("a metric") || run().precedesStart(metric)) return 1;
  switch (metric.getMetricType()) {
    case pwr::Metric::MetricType::SampledDelta:
      buildCounterTables(metric);
      break;
    case pwr::Metric::MetricType::SampledResidency:
      buildResidencyTables(metric);
      break;
    case pwr::Metric::MetricType::TracedValueTransition:
    case pwr::Metric::MetricType::TracedEvent:
      buildTracedTable(metric);
      break;
    default:
      buildSampledTable(metric, kPlainView, TraceMode::Value, metric.getQuantity(), kNothing,
                        kNotAvailable);
  }
  return 0;
}

void IntWriterV2::buildCounterTables(const pwr::Metric& metric) {
  static const std::string suffix = " : Instantaneous rate";
  buildSampledTable(metric, kPlainView, TraceMode::Value, metric.getQuantity(), kNothing,
                    kNotAvailable);
  double factor = 1.0;
  const pwr::Quantity* const rate = rateQuantityOf(metric, factor);
  if (rate == nullptr) {
    run().noteMissingRate(metric);
  } else {
    buildSampledTable(metric, kDerivedView, TraceMode::Rate, rate, suffix, kNotAvailable);
  }
}

void IntWriterV2::buildResidencyTables(const pwr::Metric& metric) {
  static const std::string timeSuffix = " : Residency Time";
  static const std::string percentageSuffix = " : Residency Percentage";
  static const std::string noTime = "0";
  static const std::string noPercentage = "0.00";
  const pwr::Quantity* const quantity = metric.getQuantity();
  if (showsResidencyTicks_) {
    buildSampledTable(metric, kPlainView, TraceMode::Value, quantity, kNothing, noTime);
  } else {
    buildSampledTable(metric, kDerivedView, TraceMode::Time, quantity, timeSuffix, noTime);
  }
  buildSampledTable(metric, kPercentageView, TraceMode::Percentage, quantity, percentageSuffix,
                    noPercentage);
}

int IntWriterV2::buildSampledTable(const pwr::Metric& metric, unsigned int view, TraceMode mode,
                                   const pwr::Quantity* quantity, const std::string& titleSuffix,
                                   const std::string& placeholder) {
  run().addSample(metric, {view, mode, quantity, titleSuffix, placeholder});
  return 0;
}

int IntWriterV2::buildTracedTable(const pwr::Metric& metric) {
  run().addEvents(metric);
  return 0;
}
