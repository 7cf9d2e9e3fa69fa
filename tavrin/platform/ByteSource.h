#pragma once

#include <cstddef>
#include <string>

namespace tavrin {

/// Bytes of an input, one after the other: a file, a pipe, or what is unpacked from one.
class ByteSource {
 public:
  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  /// Waits for the next bytes and reads them, at most `size`. Returns their number, 0 at the end or
  /// after a stop, or -1 when they cannot be read.
  virtual long long read(char* buffer, std::size_t size) = 0;
  /// Why the last `read` has returned -1: "Is a directory".
  virtual std::string readError() const = 0;

  /// Whether a stop has ended the reading: of a file as soon as it was requested, of a live input
  /// once `read` has seen it.
  virtual bool isStopped() const = 0;
  /// Whether this is not a file, which is there as a whole, but what a program or a person still
  /// writes to. Standard input counts as such whatever it is. A stop ends a live input, while it
  /// cuts a file short.
  virtual bool isLive() const = 0;
  /// How messages name it.
  virtual const std::string& name() const = 0;
  /// The file that has exactly these bytes and may be opened once more, by readers that do not read
  /// from the beginning to the end; empty when there is none.
  virtual std::string path() const = 0;
};

}  // namespace tavrin
