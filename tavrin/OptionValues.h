#pragma once

#include <cstdint>
#include <string>

namespace CLI {
class Validator;
}

namespace tavrin {

/// Turns a number of bytes, which may end in K, M or G for thousands, millions or billions, into
/// that number. It has to be from `least` to `most`.
CLI::Validator sizeIn(std::uint64_t least, std::uint64_t most);

/// Turns a time with a unit, or a number alone in units of `unit`, into that number. It has to be
/// from `least` to `most` of them.
CLI::Validator timeIn(const std::string& unit, double least, double most);

/// Turns a bound for files that are kept, an age or a size with a unit, into seconds with "s" or
/// bytes with "B".
CLI::Validator keepBound();

/// Turns a time of day into its nanoseconds since 1970.
CLI::Validator wallTime();

}  // namespace tavrin
