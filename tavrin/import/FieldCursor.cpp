#include "tavrin/import/FieldCursor.h"

#include <algorithm>

namespace tavrin {

namespace {

constexpr std::size_t kLongestName = 4096;

}  // namespace

std::string FieldCursor::text(const char* what) {
  std::array<std::byte, 64> piece{};
  std::string text;
  while (text.size() < kLongestName) {
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), left()));
    if (size == 0) require(1, what);
    bytes_.read(position_, std::span(piece).first(size));
    const auto* const letters = reinterpret_cast<const char*>(piece.data());
    const std::string_view read(letters, size);
    const std::size_t end = read.find('\0');
    text += read.substr(0, end);
    position_ += std::min(end, size - 1) + 1;
    if (end != std::string_view::npos) return text;
  }
  fail(what, "a text without an end");
}

std::string FieldCursor::bytes(std::uint64_t size, std::uint64_t most, const char* what) {
  require(size, what);
  if (size > most) {
    fail(std::string(what) + " of at most " + std::to_string(most) + " bytes",
         std::to_string(size));
  }
  std::string bytes(static_cast<std::size_t>(size), '\0');
  take(std::as_writable_bytes(std::span(bytes)), what);
  return bytes;
}

FieldCursor FieldCursor::part(std::uint64_t size, const char* what) {
  require(size, what);
  FieldCursor part(bytes_, order_, position_, position_ + size, section_);
  position_ += size;
  return part;
}

void FieldCursor::expect(std::string_view bytes, const char* what) {
  const std::uint64_t begin = position_;
  if (this->bytes(bytes.size(), bytes.size(), what) == bytes) return;
  position_ = begin;
  fail(what, "something else");
}

void FieldCursor::take(std::span<std::byte> bytes, const char* what) {
  require(bytes.size(), what);
  bytes_.read(position_, bytes);
  position_ += bytes.size();
}

void FieldCursor::require(std::uint64_t size, const char* what) const {
  if (size <= left()) return;
  fail(std::string(what) + " (" + std::to_string(size) + " bytes)", "the end");
}

FormatError FieldCursor::fault(const std::string& expected, const std::string& found) const {
  const std::string place = "offset " + std::to_string(position_);
  return {section_.empty() ? place : place + " of " + section_, expected, found};
}

}  // namespace tavrin
