#pragma once

#include <cstdint>

#include "exporters/sqlite/Database.h"
#include "writers/host/SystemMetadata.h"

namespace sqlite {

/// Inserts the run: its times, its clock, and what is known of the collection. `start` is the
/// timestamp from which the times in the database count, `ticksPerMicrosecond` what it takes the
/// clock's frequency for.
void writeRun(Database& database, const pwr::SystemMetadata& system, std::uint64_t start,
              double ticksPerMicrosecond);

/// Inserts the facts of the system, its logical CPUs, and how many events were lost.
void writeSystem(Database& database, const pwr::SystemMetadata& system);

/// Inserts the processes and threads. Their times count from `start`.
void writeProcesses(Database& database, const pwr::SystemMetadata& system, std::uint64_t start);

}  // namespace sqlite
