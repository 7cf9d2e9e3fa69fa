#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "writers/common/ShortCopy.h"

/// Records in memory, each the number of its bytes (32 bits wide, in the byte order of the machine)
/// and the bytes. Keeps its memory when it is cleared, so that filling it again allocates nothing.
class RecordBuffer {
 public:
  static constexpr std::size_t kLengthSize = sizeof(std::uint32_t);
  /// The text of the record behind the cells of a row.
  static constexpr std::string_view kRowComplete = "\n";

  /// The text of the record at `start`, the first byte of its length.
  static std::string_view textAt(const char* start) {
    std::uint32_t length = 0;
    std::memcpy(&length, start, kLengthSize);
    return {start + kLengthSize, length};
  }

  /// Appends a record for each of the texts, and returns their lengths. A text is a string_view, or
  /// a number that puts itself where it is told to, in at most `kRoom` bytes.
  template <typename... Texts>
  std::array<std::size_t, sizeof...(Texts)> append(const Texts&... texts) {
    const std::size_t needed = size_ + ((kLengthSize + roomOf(texts)) + ...);
    if (needed > capacity_) grow(needed);
    char* end = bytes_.get() + size_;
    const std::array<std::size_t, sizeof...(Texts)> lengths = {putRecord(end, texts)...};
    size_ = static_cast<std::size_t>(end - bytes_.get());
    return lengths;
  }

  void appendRecords(const RecordBuffer& other) {
    const std::size_t needed = size_ + other.size_;
    if (needed > capacity_) grow(needed);
    std::memcpy(bytes_.get() + size_, other.bytes_.get(), other.size_);
    size_ = needed;
  }

  void clear() { size_ = 0; }
  /// Forgets what is behind the first `size` bytes.
  void truncate(std::size_t size) { size_ = size; }
  std::size_t size() const { return size_; }
  const char* data() const { return bytes_.get(); }
  std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  static std::size_t roomOf(std::string_view text) { return text.size(); }
  template <typename Number>
  static std::size_t roomOf(const Number& /*number*/) {
    return Number::kRoom;
  }
  static char* put(char* to, std::string_view text) {
    copyShort(to, text.data(), text.size());
    return to + text.size();
  }
  template <typename Number>
  static char* put(char* to, const Number& number) {
    return number.put(to);
  }
  /// Has `end` be that of the record that is put there, and returns the length of the text.
  template <typename Text>
  static std::size_t putRecord(char*& end, const Text& text) {
    char* const start = end;
    end = put(start + kLengthSize, text);
    const auto length = static_cast<std::uint32_t>(end - (start + kLengthSize));
    std::memcpy(start, &length, kLengthSize);
    return length;
  }
  void grow(std::size_t needed);

  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};
