#pragma once

#include <cstdint>
#include <string_view>

/// The colour of a state on the timeline, as 24-bit RGB (0xRRGGBB). What the usual names of sleep
/// states, performance states and frequencies mean decides on theirs: from light yellow for full
/// activity through green and blue to dark violet for the deepest sleep, a sequence that gets
/// darker all the way and that colour-blind eyes tell apart. Any other name gets one of a few
/// distinct colours, always the same one.
std::uint32_t stateColor(std::string_view name);
