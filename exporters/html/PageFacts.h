#pragma once

#include <string>
#include <vector>

#include "exporters/html/PageEntities.h"
#include "exporters/html/PageJson.h"
#include "writers/host/SystemMetadata.h"

/// Writes the facts of the system and of the collection, an array.
void writeFacts(PageJson& json, const pwr::SystemMetadata& system);

/// What the page is called: the host and when the collection began.
std::string titleOf(const pwr::SystemMetadata* system);

/// Writes the processes, an array: those that have series first, then those that lived longest.
/// Returns how many are left out. `system` may be null.
std::size_t writeProcesses(PageJson& json, const pwr::SystemMetadata* system,
                           const PageEntities& entities, double ticksPerSecond);
