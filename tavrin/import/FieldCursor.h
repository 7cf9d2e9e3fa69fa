#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "readers/FormatError.h"
#include "tavrin/common/ByteOrder.h"
#include "tavrin/import/RandomBytes.h"

namespace tavrin {

/// Reads what stands one behind the other in a recording. Nothing behind the end is read. All
/// operations throw FormatError, with the place.
class FieldCursor {
 public:
  /// `bytes` is not owned. `section`: what the bytes are, when they are not those of the file.
  FieldCursor(RandomBytes& bytes, ByteOrder order, std::uint64_t begin, std::uint64_t end,
              std::string section = {})
      : bytes_(bytes), order_(order), position_(begin), end_(end), section_(std::move(section)) {}

  template <std::integral Number>
  Number number(const char* what) {
    std::array<std::byte, sizeof(Number)> bytes;
    take(bytes, what);
    return order_.number<Number>(bytes.data());
  }
  /// Up to a null, which is skipped.
  std::string text(const char* what);
  /// That many bytes, at most `most`.
  std::string bytes(std::uint64_t size, std::uint64_t most, const char* what);
  /// The next part, of that many bytes, by itself.
  FieldCursor part(std::uint64_t size, const char* what);
  void skip(std::uint64_t size, const char* what) { part(size, what); }
  void expect(std::string_view bytes, const char* what);

  bool isAtEnd() const { return position_ == end_; }
  std::uint64_t position() const { return position_; }
  std::uint64_t left() const { return end_ - position_; }

  /// That something is wrong at the position.
  FormatError fault(const std::string& expected, const std::string& found) const;
  [[noreturn]] void fail(const std::string& expected, const std::string& found) const {
    throw fault(expected, found);
  }

 private:
  void take(std::span<std::byte> bytes, const char* what);
  void require(std::uint64_t size, const char* what) const;

  RandomBytes& bytes_;
  ByteOrder order_;
  std::uint64_t position_;
  std::uint64_t end_;
  std::string section_;
};

}  // namespace tavrin
