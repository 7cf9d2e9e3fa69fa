#include "writers/host/Data.h"

#include <array>
#include <charconv>
#include <limits>

#include "hostcommon/NumberText.h"
#include "writers/host/DataHandle.h"

namespace pwr {

namespace {

// 2^63 and 2^64: the first reals that no longer fit the integer types.
constexpr double kIntLimit = 9223372036854775808.0;
constexpr double kUIntLimit = 18446744073709551616.0;

enum class Style { Whole, Formatted };

void append(std::string& out, double value, Style style) {
  if (style == Style::Whole) {
    appendShortest(out, value);
  } else {
    appendFixed(out, value, 2);
  }
}

template <std::integral Number>
void append(std::string& out, Number value, Style /*style*/) {
  std::array<char, 24> digits{};
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  out.append(digits.data(), result.ptr);
}

void append(std::string& out, const std::string& value, Style /*style*/) {
  out += value;
}

void append(std::string& out, const DataHandle* handle, Style /*style*/) {
  if (handle != nullptr) out += handle->getName();
}

template <typename T>
void append(std::string& out, const std::pair<T, T>& range, Style style) {
  append(out, range.first, style);
  out += " - ";
  append(out, range.second, style);
}

/// Writes into `out`, so that a text that is used again and again keeps its memory.
template <typename Value>
int toText(const Value& value, Style style, std::string& out) {
  return std::visit(
      [&](const auto& held) {
        if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::monostate>) {
          return 1;
        } else {
          out.clear();
          append(out, held, style);
          return 0;
        }
      },
      value);
}

template <typename Held, typename Value, typename Out>
int getAs(const Value& value, Out& out) {
  const Held* const held = std::get_if<Held>(&value);
  if (held == nullptr) return 1;
  out = *held;
  return 0;
}

}  // namespace

bool Data::isNumeric() const {
  const DataType type = getType();
  return type == DataType::Int || type == DataType::UInt || type == DataType::Real;
}

int Data::toInt(long long& out) const {
  if (getAs<long long>(value_, out) == 0) return 0;
  if (const auto* value = std::get_if<unsigned long long>(&value_)) {
    if (*value > static_cast<unsigned long long>(std::numeric_limits<long long>::max())) return 1;
    out = static_cast<long long>(*value);
    return 0;
  }
  const auto* value = std::get_if<double>(&value_);
  if (value == nullptr || !(*value >= -kIntLimit && *value < kIntLimit)) return 1;
  out = static_cast<long long>(*value);
  return 0;
}

int Data::convert(unsigned long long& out) const {
  if (const auto* value = std::get_if<long long>(&value_)) {
    if (*value < 0) return 1;
    out = static_cast<unsigned long long>(*value);
    return 0;
  }
  const auto* value = std::get_if<double>(&value_);
  if (value == nullptr || !(*value > -1.0 && *value < kUIntLimit)) return 1;
  out = static_cast<unsigned long long>(*value);
  return 0;
}

int Data::convert(double& out) const {
  if (const auto* value = std::get_if<long long>(&value_)) {
    out = static_cast<double>(*value);
    return 0;
  }
  if (const auto* value = std::get_if<unsigned long long>(&value_)) {
    out = static_cast<double>(*value);
    return 0;
  }
  return 1;
}

int Data::toString(std::string& out) const {
  return toText(value_, Style::Whole, out);
}
int Data::toFormattedString(std::string& out) const {
  return toText(value_, Style::Formatted, out);
}

int Data::toHandle(const DataHandle*& out) const {
  return getAs<const DataHandle*>(value_, out);
}

int Data::toIntRange(std::pair<long long, long long>& out) const {
  return getAs<IntPair>(value_, out);
}

int Data::toUIntRange(std::pair<unsigned long long, unsigned long long>& out) const {
  return getAs<UIntPair>(value_, out);
}

int Data::toRealRange(std::pair<double, double>& out) const {
  return getAs<RealPair>(value_, out);
}

int Data::multiplyValue(double factor) {
  double value = 0.0;
  if (toReal(value) == 0) {
    value_ = value * factor;
    return 0;
  }
  const auto scale = [&](const auto& range) {
    value_ = RealPair(static_cast<double>(range.first) * factor,
                      static_cast<double>(range.second) * factor);
    return 0;
  };
  IntPair ints;
  if (toIntRange(ints) == 0) return scale(ints);
  UIntPair uints;
  if (toUIntRange(uints) == 0) return scale(uints);
  RealPair reals;
  if (toRealRange(reals) == 0) return scale(reals);
  return 1;
}

Data Data::convertToReal(const Data* value) {
  double real = 0.0;
  return value != nullptr && value->toReal(real) == 0 ? Data(real) : Data();
}

}  // namespace pwr
