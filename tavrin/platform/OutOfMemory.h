#pragma once

namespace tavrin {

/// Makes the process end when memory runs out, wherever that happens: with a line that says so,
/// status 1, and without temporary files. (An exception would call for more memory on its way, and
/// the outputs could not be completed anyway.) To be called first of all.
void exitWhenMemoryRunsOut();

}  // namespace tavrin
