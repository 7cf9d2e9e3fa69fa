#pragma once

#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/SysRoot.h"
#include "writers/host/SystemMetadata.h"

namespace tavrin {

/// Describes the machine: names, processor, topology, frequencies, clocks. What `root` does not
/// tell stays empty or 0; only for this machine itself are the system calls asked, too. The
/// collection's own fields (times, versions, command line, processes) are left to the caller.
pwr::SystemDescription probeSystem(const SysRoot& root, const CpuEntities& cpus);

}  // namespace tavrin
