#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace tavrin {

/// What is wrong with a line of a recorded stream. Thrown and caught inside the reader only.
class StreamError : public std::runtime_error {
 public:
  /// `column`: the byte of the line at fault, counted from 1; 0 where none is to blame.
  explicit StreamError(const std::string& cause, std::size_t column = 0)
      : std::runtime_error(cut(cause)), column_(column) {}

  std::size_t column() const { return column_; }

 private:
  /// What the line has may be quoted in the cause and be of any length.
  static std::string cut(const std::string& cause) {
    constexpr std::size_t kLongest = 400;
    if (cause.size() <= kLongest) return cause;
    std::size_t end = kLongest;
    const auto isInsideCharacter = [&] { return (cause[end] & 0xC0) == 0x80; };
    while (end > 0 && isInsideCharacter()) --end;
    return cause.substr(0, end) + "…";
  }

  std::size_t column_;
};

}  // namespace tavrin
