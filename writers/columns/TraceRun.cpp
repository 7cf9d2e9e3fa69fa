#include "writers/columns/TraceRun.h"

#include "writers/common/TextLog.h"

int TraceRun::write(const pwr::SystemMessage& message) {
  const pwr::SystemMetadata& system = *message.getSystemMetadata();
  const unsigned int frequency = system.getTimestampClockFrequencyMHz();
  clock_ = {.ticksPerMicrosecond = static_cast<double>(frequency),
            .start = system.getCollectionStartTimestamp()};
  if (frequency != 0) return 0;
  PW_LOG(kTextLog, PW_LOG_WARNING,
         "WARNING: Frequency of timestamps is zero. Please check the clock frequency in the system "
         "metadata.\n");
  return 1;
}

bool TraceRun::precedesStart(const pwr::Metric& metric) {
  if (metric.getData().timestamp >= clock_.start) return false;
  tell("WARNING: Timestamp of the sample is less than the global start timestamp.\n", metric);
  return true;
}

void TraceRun::tell(const char* line, const pwr::Metric& metric, const pwr::EntityHandle* entity,
                    const pwr::DataDescriptor* descriptor) {
  const PWLogLevel level = toldProblems_.levelOf(line, metric.getId(), entity, descriptor);
  PW_LOG(kTextLog, level, "%s", line);
}
