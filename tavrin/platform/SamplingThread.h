#pragma once

/// What live sampling needs of Linux.
namespace tavrin {

/// Now, in ticks of the time base: nanoseconds of CLOCK_MONOTONIC_RAW.
unsigned long long nowTicks();

/// Makes the calling thread wake at its deadlines, not up to 50 µs behind them.
void wakeAtDeadlines();

/// Runs the calling thread on each of its CPUs in turn, for a moment. The kernel counts a sleep
/// only when it is left: this makes it count those that are under way. Without it the first and
/// the last sleep of a collection would go to the wrong side of its ends.
void wakeCpus();

}  // namespace tavrin
