#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

/// What is wrong with a file: where, what the format asks for there, and what is there instead.
class FormatError : public std::runtime_error {
 public:
  FormatError(const std::string& place, const std::string& expected, const std::string& found)
      : std::runtime_error(place + ": expected " + expected + ", found " + found) {}
  /// `offset`: the byte of the file, counted from 0.
  FormatError(std::uint64_t offset, const std::string& expected, const std::string& found)
      : FormatError("offset " + std::to_string(offset), expected, found) {}
};
