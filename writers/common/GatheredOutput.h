#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <string_view>

#include "writers/common/ShortCopy.h"

/// Gathers small pieces of text into large ones: a table is made of millions of cells of a few
/// bytes each.
class GatheredOutput {
 public:
  static constexpr std::size_t kMostAtOnce = 0x10000;
  static constexpr std::size_t kSlack = 32;

  /// `sink` gets the pieces, each valid during the call only. It deals with its own failures.
  explicit GatheredOutput(std::function<void(std::string_view)> sink);

  void append(std::string_view text) {
    if (text.size() > kMostAtOnce) {
      appendLarge(text);
    } else {
      copyShort(extend(text.size()), text.data(), text.size());
    }
  }

  /// Appends blanks.
  void pad(std::size_t count) {
    if (count > kSlack) {
      padWide(count);
    } else {
      // As many whatever the count: no call, and nothing that depends on it.
      std::memset(extend(count), ' ', kSlack);
    }
  }

  /// Appends `count` bytes, at most `kMostAtOnce`, which the caller has to fill before any other
  /// call. What the caller writes to the `kSlack` bytes behind them is not part of the text.
  char* extend(std::size_t count) {
    if (count > kCapacity - used_) drainPiece();
    used_ += count;
    return pending_.get() + (used_ - count);
  }

  /// Takes the bytes of the latest `extend` back.
  void retract(std::size_t count) { used_ -= count; }

  /// Hands everything gathered so far to the sink. Not done by the destructor.
  void drain();

 private:
  // Beyond this size larger writes no longer save anything. A power of two, so that each of them
  // fills pages of the file's cache, large ones where there are such.
  static constexpr std::size_t kPiece = std::size_t{512} * 1024;
  static constexpr std::size_t kCapacity = kPiece + kMostAtOnce;

  void appendLarge(std::string_view text);
  void padWide(std::size_t count);
  void drainPiece();

  const std::function<void(std::string_view)> sink_;
  const std::unique_ptr<char[]> pending_;
  std::size_t used_ = 0;
};
