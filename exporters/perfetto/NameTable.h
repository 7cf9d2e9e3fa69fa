#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "hostcommon/Utf8Text.h"

namespace pftrace {

/// Of a text so much as readers are given: what is longer ends in "…".
inline constexpr std::size_t kMostTextBytes = 1000;

/// A text as it stands in a trace: valid UTF-8, and not longer than that.
inline std::string shownText(std::string_view text) {
  const bool isLong = text.size() > kMostTextBytes;
  std::string shown = pwr::validUtf8(text.substr(0, kMostTextBytes));
  if (isLong) shown += "\xE2\x80\xA6";
  return shown;
}

/// The numbers by which the packets of a trace name texts. How many it knows is bounded: when there
/// are too many, it forgets all of them, and a new generation of numbers begins. No number stands
/// for two texts.
class NameTable {
 public:
  static constexpr std::size_t kMost = 16384;

  struct Name {
    std::string text;  ///< as readers are told it
    std::uint32_t id = 0;
  };

  /// Counts from 1.
  std::uint32_t generation() const { return generation_; }
  /// The first number of the generation.
  std::uint32_t firstId() const { return firstId_; }

  /// Makes sure that `count` more names are of the same generation.
  void makeRoom(std::size_t count) {
    if (names_.size() + count <= kMost || names_.empty()) return;
    firstId_ += static_cast<std::uint32_t>(names_.size());
    names_.clear();
    recent_.fill(nullptr);
    ++generation_;
  }

  /// Valid until the generation ends.
  const Name& find(std::string_view text) {
    // A long text is known by its start, as readers are not told the rest.
    const std::string_view key = text.substr(0, kMostTextBytes + 1);
    const Entry*& recent = recent_[placeOf(key)];
    if (recent != nullptr && recent->first == key) return recent->second;
    auto known = names_.find(key);
    if (known == names_.end()) {
      const auto id = firstId_ + static_cast<std::uint32_t>(names_.size());
      known = names_.emplace(key, Name{shownText(text), id}).first;
    }
    recent = &*known;
    return recent->second;
  }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  using Entry = std::pair<const std::string, Name>;

  static std::size_t placeOf(std::string_view text) {
    if (text.empty()) return 0;
    const auto byte = [&](std::size_t at) {
      return std::size_t{static_cast<unsigned char>(text[at])};
    };
    const std::size_t mixed =
        text.size() + byte(0) * 7U + byte(text.size() / 2) * 31U + byte(text.size() - 1) * 61U;
    return mixed % kRecent;
  }

  static constexpr std::size_t kRecent = 256;

  std::unordered_map<std::string, Name, Hash, std::equal_to<>> names_;
  /// Those found last, which come again and again: few have to be hashed (perfetto/fwrite in
  /// ./bench).
  std::array<const Entry*, kRecent> recent_{};
  std::uint32_t generation_ = 1;
  std::uint32_t firstId_ = 1;
};

}  // namespace pftrace
