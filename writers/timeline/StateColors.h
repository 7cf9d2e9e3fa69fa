#pragma once

#include <cstdint>
#include <string_view>

/// The colour of a state on the timeline, as 24-bit RGB (0xRRGGBB). What the usual names of sleep
/// states, performance states and frequencies mean decides on theirs: from light yellow for full
/// activity through green and blue to dark violet for the deepest sleep, a sequence that gets
/// darker all the way and that colour-blind eyes tell apart. Any other name gets one of a few
/// distinct colours, always the same one.
std::uint32_t stateColor(std::string_view name);

/// The same of a state that is a number: a frequency, or without units one of the numbers 0 to 10,
/// in which states are counted from full activity to the deepest sleep. Others take turns with the
/// distinct colours. In all there are fewer than a thousand colours.
std::uint32_t stateColor(double number, std::string_view units);
