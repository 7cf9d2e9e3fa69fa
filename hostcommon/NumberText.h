#pragma once

#include <cstddef>
#include <string>

#include "writers/host/HostApi.h"

/// The texts of real numbers, independent of the process locale.
namespace pwr {

/// Appends `value` with `decimals` digits behind the point, rounded as printf does; "inf", "-inf"
/// or "nan" when it is not finite.
PW_HOST_API void appendFixed(std::string& out, double value, int decimals);

/// Room that the text of any value needs in front of `end` in `putTwoDecimals`, in bytes.
inline constexpr std::size_t kTwoDecimalsRoom = 24;

/// Writes what `appendFixed` appends with two decimals so that it ends before `end`, and returns
/// where it begins. Null, having written nothing, for a value that is 2^52 or more away from zero.
PW_HOST_API char* putTwoDecimals(char* end, double value);

/// Appends the shortest text that reads back to the same value.
PW_HOST_API void appendShortest(std::string& out, double value);

}  // namespace pwr
