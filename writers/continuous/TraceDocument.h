#pragma once

#include "hostcommon/OutputFile.h"
#include "writers/continuous/TraceModel.h"
#include "writers/host/SystemMetadata.h"

/// What a trace tells of its collection besides the model.
struct TraceCollection {
  const pwr::SystemMetadata* system = nullptr;  ///< not owned
  unsigned long long startTimestamp = 0;        ///< ticks; that of the points
};

/// Writes the JSON trace, docs/formats/json-trace.md, as one compact line to an open file, piece by
/// piece: it is never in memory as a whole. A value that is not finite leaves its key without a
/// value. Memory that runs out is told by std::bad_alloc.
void writeTraceDocument(const TraceCollection& collection, const TraceModel& model,
                        pwr::OutputFile& file);
