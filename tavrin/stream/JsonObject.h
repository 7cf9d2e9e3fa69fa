#pragma once

#include <array>
#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "tavrin/stream/JsonMemory.h"
#include "tavrin/stream/StreamError.h"
#include "tavrin/stream/StreamNames.h"

namespace tavrin {

/// Checked conversions of JSON values. `member` names the member at fault in the StreamError that
/// they throw when the value has another type or is out of range.
namespace json {

[[noreturn]] void fail(std::string_view member, const std::string& cause);

std::string text(const Value& value, std::string_view member);
bool flag(const Value& value, std::string_view member);
/// A number, also one without a fraction, or an object that names a real that is not finite.
double real(const Value& value, std::string_view member);
/// Of single precision.
float singleReal(const Value& value, std::string_view member);
Value::ConstArray array(const Value& value, std::string_view member);
/// An array with exactly `size` items.
Value::ConstArray array(const Value& value, std::string_view member, std::size_t size);

template <std::integral T>
T integer(const Value& value, std::string_view member) {
  if (value.IsUint64() ? std::in_range<T>(value.GetUint64())
                       : value.IsInt64() && std::in_range<T>(value.GetInt64())) {
    return value.IsUint64() ? static_cast<T>(value.GetUint64()) : static_cast<T>(value.GetInt64());
  }
  fail(member, value.IsUint64() || value.IsInt64() ? "out of range" : "not an integer");
}

}  // namespace json

/// A JSON object with checked members. Those that are left out count as 0, empty or false.
class JsonObject {
 public:
  /// Throws StreamError when `value` is no object or has a member twice or one that is not in
  /// `members`: a misspelt member must not pass for one left out. `member` is the object's own
  /// name.
  JsonObject(const json::Value& value, std::string_view member,
             std::initializer_list<std::string_view> members);

  /// Null when there is no such member.
  const json::Value* find(std::string_view member) const;
  /// Throws StreamError when there is no such member.
  const json::Value& require(std::string_view member) const;

  std::string text(std::string_view member) const;
  bool flag(std::string_view member) const;
  double real(std::string_view member, double otherwise) const;
  float singleReal(std::string_view member) const;

  template <std::integral T>
  T integer(std::string_view member) const {
    const json::Value* const value = find(member);
    return value == nullptr ? T{} : json::integer<T>(*value, member);
  }

  /// The enumeration value that the member names; the first of the list when it is left out.
  template <typename E, std::size_t N>
  E named(std::string_view member, const std::array<names::Name<E>, N>& list) const {
    const json::Value* const value = find(member);
    if (value == nullptr) return list.front().value;
    const std::string word = json::text(*value, member);
    std::string known;
    for (const names::Name<E>& candidate : list) {
      if (candidate.name == word) return candidate.value;
      known.append(known.empty() ? "" : ", ").append(candidate.name);
    }
    json::fail(member, "not one of " + known);
  }

  /// Calls `take` with each item of the array `member`.
  template <typename Take>
  void forEach(std::string_view member, Take take) const {
    const json::Value* const value = find(member);
    if (value == nullptr) return;
    for (const json::Value& item : json::array(*value, member)) take(item);
  }

 private:
  const json::Value* value_;
};

}  // namespace tavrin
