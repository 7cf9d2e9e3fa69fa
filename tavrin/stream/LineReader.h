#pragma once

#include <cstdio>
#include <string>

namespace tavrin {

/// Reads a C stream line by line. A line comes as soon as the stream has it, so that the output of
/// a running program is followed without delay. (`fread` would wait for a full buffer, and the
/// `getline` of the C library is not everywhere.)
class LineReader {
 public:
  enum class Result { Line, End, Failed };

  /// `stream` is not owned.
  explicit LineReader(FILE* stream) : stream_(stream) {}

  /// Reads the next line, however long it is. Failed leaves errno as the stream set it.
  Result next();

  /// The line last read, without its line feed. It may be changed; the storage is reused.
  std::string& line() { return line_; }
  /// Its number, counted from 1; 0 before the first.
  unsigned long long number() const { return number_; }

 private:
  std::size_t readPiece(std::size_t start);

  FILE* stream_;
  std::string line_;
  unsigned long long number_ = 0;
};

}  // namespace tavrin
