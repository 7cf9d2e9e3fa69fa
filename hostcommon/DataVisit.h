#pragma once

#include <string>

#include "writers/host/Data.h"

namespace pwr {

/// Calls `visit` with what the value is: nullptr for nothing, a long long, an unsigned long long, a
/// double, and its text, a `const std::string&`, for all else. Returns what `visit` returns.
template <typename Visit>
auto visitData(const Data& value, const Visit& visit) -> decltype(visit(nullptr)) {
  long long integer = 0;
  unsigned long long natural = 0;
  double real = 0.0;
  std::string text;
  switch (value.getType()) {
    case DataType::None:
      return visit(nullptr);
    case DataType::Int:
      value.toInt(integer);
      return visit(integer);
    case DataType::UInt:
      value.toUInt(natural);
      return visit(natural);
    case DataType::Real:
      value.toReal(real);
      return visit(real);
    default:
      value.toString(text);
      return visit(static_cast<const std::string&>(text));
  }
}

}  // namespace pwr
