#include "exporters/html/ColumnWriter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "exporters/html/PointLog.h"
#include "writers/common/LittleEndian.h"

namespace {

/// What the numbers of a column have in common.
struct NumberRange {
  std::size_t count = 0;
  bool isWhole = true;  ///< and differences are exact
  double minimum = 0.0;
  double maximum = 0.0;

  void add(double number) {
    minimum = count == 0 ? number : std::min(minimum, number);
    maximum = count == 0 ? number : std::max(maximum, number);
    isWhole = isWhole && number == std::trunc(number) &&
              std::abs(number) <= static_cast<double>(kMostTicks) &&
              !(number == 0.0 && std::signbit(number));
    ++count;
  }
  bool fits(double most) const { return isWhole && minimum >= 0.0 && maximum <= most; }
};

template <typename Number>
void appendLittleEndian(std::string& bytes, Number number) {
  std::array<std::byte, sizeof(Number)> room;
  putLittleEndian(room.data(), number);
  bytes.append(reinterpret_cast<const char*>(room.data()), room.size());
}

}  // namespace

std::string ColumnWriter::put(std::string_view bytes, const char* type, std::size_t count,
                              std::size_t width) {
  packer_.align(width);
  std::string description = "{\"at\":" + std::to_string(packer_.size()) +
                            ",\"n\":" + std::to_string(count) + ",\"type\":\"" + type + "\"}";
  packer_.add(bytes);
  return description;
}

std::string ColumnWriter::numbers(std::string_view kind,
                                  const std::function<void(const Visit&)>& forEach) {
  NumberRange range;
  forEach([&](double number) { range.add(number); });
  // Many residencies are never taken.
  if (range.minimum == 0.0 && range.maximum == 0.0) kind = "zeros";
  std::string bytes;
  const char* type = "f64";
  std::size_t width = sizeof(double);
  if (range.fits(0xFF)) {
    type = "u8";
    width = 1;
    forEach([&](double number) { bytes += static_cast<char>(static_cast<unsigned char>(number)); });
  } else if (range.isWhole) {
    type = "delta";
    width = 1;
    long long last = 0;
    forEach([&](double number) {
      const auto whole = static_cast<long long>(number);
      appendVarint(bytes, whole - std::exchange(last, whole));
    });
  } else {
    bytes.reserve(range.count * sizeof(double));
    forEach(
        [&](double number) { appendLittleEndian(bytes, std::bit_cast<std::uint64_t>(number)); });
  }
  const auto found = std::ranges::find(
      last_, kind, [](const auto& known) -> std::string_view { return known.first; });
  Column& last =
      found != last_.end() ? found->second : last_.emplace_back(std::string(kind), Column()).second;
  if (last.description.empty() || last.bytes != bytes ||
      last.description.find(type) == std::string::npos) {
    last.description = put(bytes, type, range.count, width);
    last.bytes = std::move(bytes);
  }
  return last.description;
}

std::string ColumnWriter::bytes(std::span<const std::uint8_t> numbers) {
  return put({reinterpret_cast<const char*>(numbers.data()), numbers.size()}, "u8", numbers.size(),
             1);
}

std::string ColumnWriter::words(std::span<const std::uint16_t> numbers) {
  scratch_.clear();
  for (const std::uint16_t number : numbers) appendLittleEndian(scratch_, number);
  return put(scratch_, "u16", numbers.size(), sizeof(std::uint16_t));
}
