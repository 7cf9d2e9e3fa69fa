#pragma once

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "readers/FormatError.h"

/// Gives `read` the bytes as a file. It may reject them with a FormatError; anything else is a
/// finding. `read` returns how much text it got out of them, so that nothing is optimised away.
template <typename Read>
int fuzzReader(const std::uint8_t* data, std::size_t size, const Read& read) {
  std::istringstream file(std::string(data, data + size));
  try {
    return read(file) > SIZE_MAX / 2 ? -1 : 0;
  } catch (const FormatError&) {
    return 0;
  }
}
