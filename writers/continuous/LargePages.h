#pragma once

#include <cstddef>

/// A large page, in bytes.
inline constexpr std::size_t kLargePage = std::size_t{2} * 1024 * 1024;

/// Asks the system to back `count` bytes, which are about to be filled, with large pages. Getting
/// memory in small ones takes longer than filling it. Does nothing where `count` is less than a
/// large page. Only advice: without it, or where there are no such pages, everything works just as
/// well.
void preferLargePages(const void* bytes, std::size_t count);
