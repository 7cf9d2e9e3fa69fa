#pragma once

#include "exporters/perfetto/Trace.h"
#include "writers/host/Process.h"

namespace pftrace {

/// Tells of a process that began or ended in the run, or ran more than one program in it, when it
/// lived and what it ran: slices on a track of its own. Others lived all the time, and have no
/// track. `end` (ticks): of the run.
void tellLife(Trace& trace, const pwr::Process& process, unsigned long long end);

}  // namespace pftrace
