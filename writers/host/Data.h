#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "writers/host/HostApi.h"

namespace pwr {

class DataHandle;

/// What a `Data` holds. The numbers are part of the host interface.
enum class DataType : int {
  None = 0,
  Int = 1,
  UInt = 2,
  Real = 3,
  IntRange = 4,
  UIntRange = 5,
  RealRange = 6,
  Handle = 7,
  String = 8,
};

/// One tagged value: a number, a range of numbers, a text or a handle, or nothing. A small value
/// type; only a text allocates. Handles are not owned: they live as long as the process.
///
/// Conversions return 0 when `out` was set and 1 when the value cannot be represented (wrong type,
/// out of range); `out` is untouched then. Nothing throws.
class PW_HOST_API Data {
 public:
  using IntPair = std::pair<long long, long long>;
  using UIntPair = std::pair<unsigned long long, unsigned long long>;
  using RealPair = std::pair<double, double>;

  Data() = default;
  Data(const Data&) = default;
  Data(Data&&) = default;
  Data& operator=(const Data&) = default;
  Data& operator=(Data&&) = default;
  ~Data() = default;

  explicit Data(const std::string& text) : value_(text) {}
  explicit Data(const char* text) : value_(std::string(text)) {}
  explicit Data(const double& value) : value_(value) {}
  explicit Data(const long long& value) : value_(value) {}
  explicit Data(const unsigned long long& value) : value_(value) {}
  /// Any other integer type becomes Int or UInt by its signedness.
  template <std::integral T>
  requires(!std::same_as<T, bool>) explicit Data(T value)
      : Data(static_cast<std::conditional_t<std::is_signed_v<T>, long long, unsigned long long>>(
            value)) {}
  explicit Data(const IntPair& range) : value_(range) {}
  explicit Data(const UIntPair& range) : value_(range) {}
  explicit Data(const RealPair& range) : value_(range) {}
  explicit Data(const DataHandle* handle) : value_(handle) {}

  /// As assigning a new `Data`, for a host that fills the same sample again and again: several
  /// times as fast where the types are the same (replay in ./bench).
  void set(long long value) { value_ = value; }
  void set(unsigned long long value) { value_ = value; }
  void set(double value) { value_ = value; }
  void clear() { value_ = std::monostate(); }

  DataType getType() const { return static_cast<DataType>(value_.index()); }
  /// True for Int, UInt and Real; ranges are not numeric.
  bool isNumeric() const;

  int toInt(long long& out) const;
  int toUInt(unsigned long long& out) const {
    const auto* const value = std::get_if<unsigned long long>(&value_);
    if (value == nullptr) return convert(out);
    out = *value;
    return 0;
  }
  int toReal(double& out) const {
    const auto* const value = std::get_if<double>(&value_);
    if (value == nullptr) return convert(out);
    out = *value;
    return 0;
  }
  /// The whole value as text: integers in decimal, reals in the shortest form that reads back to
  /// the same value, ranges as "first - last", a handle as its name. Fails only for None.
  int toString(std::string& out) const;
  /// The value as reports show it: like `toString`, but reals (those of ranges too) with two
  /// decimals.
  int toFormattedString(std::string& out) const;
  int toHandle(const DataHandle*& out) const;
  int toIntRange(std::pair<long long, long long>& out) const;
  int toUIntRange(std::pair<unsigned long long, unsigned long long>& out) const;
  int toRealRange(std::pair<double, double>& out) const;

  /// Multiplies a number or both ends of a range by `factor`; the result is a real or a real range.
  /// Returns 1 and leaves the value alone for None, texts and handles.
  int multiplyValue(double factor);

  /// `value` as a real; None when `value` is null or has no real value.
  static Data convertToReal(const Data* value);

  bool operator==(const Data&) const = default;

 private:
  /// What `toUInt` and `toReal` do with a value that is of another type.
  int convert(unsigned long long& out) const;
  int convert(double& out) const;

  using Value = std::variant<std::monostate, long long, unsigned long long, double, IntPair,
                             UIntPair, RealPair, const DataHandle*, std::string>;
  template <DataType kType>
  using Held = std::variant_alternative_t<static_cast<std::size_t>(kType), Value>;
  static_assert(std::is_same_v<Held<DataType::None>, std::monostate> &&
                    std::is_same_v<Held<DataType::Int>, long long> &&
                    std::is_same_v<Held<DataType::UInt>, unsigned long long> &&
                    std::is_same_v<Held<DataType::Real>, double> &&
                    std::is_same_v<Held<DataType::IntRange>, IntPair> &&
                    std::is_same_v<Held<DataType::UIntRange>, UIntPair> &&
                    std::is_same_v<Held<DataType::RealRange>, RealPair> &&
                    std::is_same_v<Held<DataType::Handle>, const DataHandle*> &&
                    std::is_same_v<Held<DataType::String>, std::string>,
                "the order of the alternatives is that of DataType");

  Value value_;
};

}  // namespace pwr
