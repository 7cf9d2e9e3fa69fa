#pragma once

#include <string>
#include <string_view>

#include "writers/host/Data.h"

namespace tavrin {

/// How a table of points is written: as comma-separated values (RFC 4180, with line feeds alone),
/// or with a JSON object per line.
enum class PointFormat { Csv, JsonLines };

/// Each appends one cell. Bytes of texts that are not UTF-8 become U+FFFD.
void appendText(std::string& out, std::string_view text, PointFormat format);
/// A cell without content: nothing, or null.
void appendNothing(std::string& out, PointFormat format);
void appendNumber(std::string& out, unsigned long long number);
/// A number that is not finite is "nan", "inf" or "-inf", in JSON null.
void appendNumber(std::string& out, double number, PointFormat format);
/// Numbers as they are, in the shortest form that reads back to the same; the rest as text.
void appendValue(std::string& out, const pwr::Data& value, PointFormat format);
/// Seconds with nine decimals.
void appendSeconds(std::string& out, long long nanoseconds);

}  // namespace tavrin
