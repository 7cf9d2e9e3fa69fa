#pragma once

#include "tavrin/Options.h"

/// The commands of the tool. Each returns the process's exit status, or throws CommandError.
namespace tavrin {

int runRecord(const Options& options);
int runReport(const Options& options);
int runList(const Options& options);
int runInspect(const Options& options);

}  // namespace tavrin
