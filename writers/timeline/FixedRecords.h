#pragma once

#include <cstdint>

#include "writers/timeline/SystemSnapshot.h"
#include "writers/timeline/TimelineOutput.h"

/// The records that describe the system and the collection, at the start of the file.

/// Writes them all, from the magic record to the frequency record. Stops at the first one that
/// fails, logs which, and returns 1; the file is of no use then.
int writeFixedRecords(const SystemSnapshot& system, std::uint64_t streamKey,
                      TimelineOutput& output);

/// Writes the record that opens and closes the system's part of the file. Returns 1, saying
/// nothing, when that fails.
int writeMagicRecord(std::uint64_t streamKey, TimelineOutput& output);
