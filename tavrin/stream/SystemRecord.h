#pragma once

#include "tavrin/stream/JsonObject.h"
#include "tavrin/stream/RecordWriter.h"
#include "writers/host/SystemMetadata.h"

/// The two records that describe the system and the collection: "system" carries everything but the
/// stop timestamp and the duration, "stop" carries those and the processes and threads once more,
/// complete, and the topology if that has grown.
namespace tavrin::systemrecord {

void writeSystem(RecordWriter& records, const pwr::SystemMetadata& metadata);
/// `knownCpus`: of how many logical CPUs the system record tells.
void writeStop(RecordWriter& records, const pwr::SystemMetadata& metadata,
               unsigned long long knownCpus);

/// Throw StreamError when the record `value` is not as it should be.
pwr::SystemDescription readSystem(const json::Value& value);
/// Completes `description`. A list that the record does not have leaves the one of the system
/// record in force.
void readStop(const json::Value& value, pwr::SystemDescription& description);

}  // namespace tavrin::systemrecord
