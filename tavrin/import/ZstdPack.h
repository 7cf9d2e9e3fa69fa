#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace tavrin {

/// "", or why this build cannot unpack.
std::string whyNoZstd();

/// Unpacks up to `most` bytes of what zstd has packed. They are fewer where the input ends before
/// or is damaged. What is really there takes memory, not what the input says.
std::vector<std::byte> unpackZstd(std::span<const std::byte> packed, std::size_t most);

}  // namespace tavrin
