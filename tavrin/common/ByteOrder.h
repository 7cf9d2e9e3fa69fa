#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tavrin {

/// Whole numbers as the machine wrote them that made a recording.
class ByteOrder {
 public:
  constexpr explicit ByteOrder(std::endian order = std::endian::native) : order_(order) {}

  bool isBig() const { return order_ == std::endian::big; }

  template <std::integral Number>
  Number number(const std::byte* place) const {
    std::array<std::byte, sizeof(Number)> bytes;
    std::memcpy(bytes.data(), place, bytes.size());
    if (order_ != std::endian::native) std::ranges::reverse(bytes);
    return std::bit_cast<Number>(bytes);
  }
  /// A number of 1, 2, 4 or 8 bytes; 0 for another size.
  long long number(const std::byte* place, std::size_t size, bool isSigned) const {
    switch (size) {
      case 1:
        return either<std::int8_t, std::uint8_t>(place, isSigned);
      case 2:
        return either<std::int16_t, std::uint16_t>(place, isSigned);
      case 4:
        return either<std::int32_t, std::uint32_t>(place, isSigned);
      case 8:
        return number<std::int64_t>(place);
      default:
        return 0;
    }
  }

 private:
  template <typename Signed, typename Unsigned>
  long long either(const std::byte* place, bool isSigned) const {
    return isSigned ? static_cast<long long>(number<Signed>(place))
                    : static_cast<long long>(number<Unsigned>(place));
  }

  std::endian order_;
};

}  // namespace tavrin
