#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "formats/ztjson_format.h"
#include "writers/continuous/JsonText.h"

/// Puts texts together when the program is compiled.
template <std::size_t... Sizes>
constexpr auto joined(const char (&... parts)[Sizes]) {
  std::array<char, (Sizes + ...) - sizeof...(Sizes)> text{};
  auto* end = text.begin();
  ((end = std::copy_n(parts, Sizes - 1, end)), ...);
  return text;
}

/// The JSON writer of a trace's points, which are nearly all of its text. Numbers are the
/// library's; what stands between them never needs escaping and is copied as it is, which makes a
/// trace cost less than the library's calls for one value after the other would.
class PointWriter : public JsonWriter {
 public:
  using JsonWriter::JsonWriter;

  /// Starts a point as the next element of an array, up to the value of "y".
  void startPoint(unsigned long long x, unsigned long long x1) {
    Prefix(rapidjson::kObjectType);
    char* const begin = os_->Push(kMostOfHead);
    char* end = std::copy_n(kStart.data(), kStart.size(), begin);
    end = rapidjson::internal::u64toa(x, end);
    end = std::copy_n(kEnd.data(), kEnd.size(), end);
    end = rapidjson::internal::u64toa(x1, end);
    end = std::copy_n(kValue.data(), kValue.size(), end);
    os_->Pop(kMostOfHead - static_cast<std::size_t>(end - begin));
  }

  /// What stands within a point, to its end. Writes nothing for a number that is not finite.
  void put(char letter) { os_->Put(letter); }
  void number(double value) {
    if (!putThousandths(value)) WriteDouble(value);
  }
  void copy(const std::string& text) {
    std::memcpy(os_->Push(text.size()), text.data(), text.size());
  }
  template <std::size_t Size>
  void copy(const std::array<char, Size>& text) {
    std::memcpy(os_->Push(Size), text.data(), Size);
  }

 private:
  /// Writes a number of at most three decimals, as counters and sensors mostly give: the text is
  /// the library's, which takes several times as long to find it. Returns false for any other.
  bool putThousandths(double value) {
    // Below it no other text of as few digits reads back to the value.
    constexpr double kMost = 1e9;
    constexpr double kUnit = 0x1p52;  // added to a smaller number, it leaves a whole one
    if (std::signbit(value) || !(value < kMost)) return false;
    const std::uint64_t thousandths =
        std::bit_cast<std::uint64_t>(value * 1000.0 + kUnit) - std::bit_cast<std::uint64_t>(kUnit);
    if (static_cast<double>(thousandths) / 1000.0 != value) return false;
    const auto decimals = static_cast<unsigned int>(thousandths % 1000);
    char* const begin = os_->Push(kMostOfNumber);
    char* end = rapidjson::internal::u64toa(thousandths / 1000, begin);
    *end++ = '.';
    *end++ = static_cast<char>('0' + decimals / 100);
    *end++ = static_cast<char>('0' + decimals / 10 % 10);
    *end++ = static_cast<char>('0' + decimals % 10);
    // One decimal stays.
    end -= (decimals % 10 == 0 ? 1 : 0) + (decimals % 100 == 0 ? 1 : 0);
    os_->Pop(kMostOfNumber - static_cast<std::size_t>(end - begin));
    return true;
  }

  static constexpr std::size_t kMostOfNumber = 16;
  static constexpr std::size_t kMostOfHead = 64;
  static constexpr auto kStart = joined("{\"", ztjson::trace::kStart, "\":");
  static constexpr auto kEnd = joined(",\"", ztjson::trace::kEnd, "\":");
  static constexpr auto kValue = joined(",\"", ztjson::trace::kValue, "\":");
};
