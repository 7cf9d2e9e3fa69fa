#pragma once

#include "writers/continuous/JsonText.h"
#include "writers/continuous/TraceModel.h"
#include "writers/host/SystemMetadata.h"

/// What a trace tells of its collection besides the model.
struct TraceCollection {
  const pwr::SystemMetadata* system = nullptr;  ///< not owned
  unsigned long long startTimestamp = 0;        ///< ticks; that of the points
};

/// Appends the JSON trace, docs/formats/json-trace.md, as one compact document without a line break
/// at its end. A value that is not finite leaves its key without a value.
void writeTraceDocument(const TraceCollection& collection, const TraceModel& model,
                        JsonBuffer& out);
