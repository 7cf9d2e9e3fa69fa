#pragma once

#include <cstdint>

/// How often the process has allocated with `new` so far, its shared libraries included.
std::uint64_t allocationCount();
/// How many bytes these were.
std::uint64_t allocatedBytes();
