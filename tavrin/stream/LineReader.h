#pragma once

#include <string>

#include "tavrin/platform/ByteSource.h"

namespace tavrin {

/// Reads an input line by line. A line comes as soon as the input has it, so that the output of a
/// running program is followed without delay.
class LineReader {
 public:
  enum class Result { Line, End, Failed, TooLong };

  /// No line has more bytes.
  static constexpr std::size_t kLongestLine = std::size_t{256} << 20U;

  /// `input` is not owned.
  explicit LineReader(ByteSource& input) : input_(input) {}

  /// Reads the next line. After Failed the input tells why.
  Result next();

  /// The line last read, without its line feed. It may be changed; the storage is reused.
  std::string& line() { return line_; }
  /// Whether the input ended before the line feed of the line last read.
  bool isCut() const { return cut_; }
  /// The line's number, counted from 1; 0 before the first.
  unsigned long long number() const { return number_; }

 private:
  ByteSource& input_;
  std::string buffer_ = std::string(kBufferSize, '\0');
  std::size_t begin_ = 0;  ///< of what is still unread in the buffer
  std::size_t end_ = 0;
  std::string line_;
  bool cut_ = false;
  unsigned long long number_ = 0;

  static constexpr std::size_t kBufferSize = 65536;
};

}  // namespace tavrin
