#pragma once

#include <array>
#include <stdexcept>
#include <streambuf>

#include "tavrin/platform/ByteSource.h"

namespace tavrin {

/// An input as the standard library's streams read it. Throws std::runtime_error with name and
/// cause where the input cannot be read.
class SourceBuffer final : public std::streambuf {
 public:
  /// `source` is not owned.
  explicit SourceBuffer(ByteSource& source) : source_(source) {}

 protected:
  int_type underflow() override {
    const long long count = source_.read(bytes_.data(), bytes_.size());
    if (count < 0) {
      throw std::runtime_error("cannot read " + source_.name() + ": " + source_.readError());
    }
    setg(bytes_.data(), bytes_.data(), bytes_.data() + count);
    return count == 0 ? traits_type::eof() : traits_type::to_int_type(bytes_.front());
  }

 private:
  ByteSource& source_;
  std::array<char, 65536> bytes_{};
};

}  // namespace tavrin
