#pragma once

#include <string>

/// The texts of real numbers, independent of the process locale.
namespace pwr {

/// Appends `value` with `decimals` digits behind the point, rounded as printf does; "inf", "-inf"
/// or "nan" when it is not finite.
void appendFixed(std::string& out, double value, int decimals);

/// Appends the shortest text that reads back to the same value.
void appendShortest(std::string& out, double value);

}  // namespace pwr
