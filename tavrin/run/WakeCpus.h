#pragma once

namespace tavrin {

/// Runs the calling thread on each of its CPUs in turn, for a moment. The kernel counts a sleep
/// only when it is left: this makes it count those that are under way. Without it the first and
/// the last sleep of a collection would go to the wrong side of its ends.
void wakeCpus();

}  // namespace tavrin
