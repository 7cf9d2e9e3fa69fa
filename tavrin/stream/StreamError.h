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
      : std::runtime_error(cause), column_(column) {}

  std::size_t column() const { return column_; }

 private:
  std::size_t column_;
};

}  // namespace tavrin
