#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tavrin {

/// A time of day as users write it, in nanoseconds since 1970: ISO 8601 with a zone
/// ("2026-11-22T19:00:00Z", "2026-11-22 20:00:00.25+01:00", also without the seconds), or a number
/// of seconds since 1970. A fraction has at most nine digits. Nothing for what is no such time, or
/// is not behind the beginning of 1970 and before 2262.
std::optional<std::uint64_t> parseWallTime(std::string_view text);

}  // namespace tavrin
