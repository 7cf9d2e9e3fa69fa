#pragma once

namespace pwr {

/// Version of the library and its tools, stated here alone: major.minor.revision.
inline constexpr const char* kVersion = "0.1.0";

/// Its numbers: the one at `place`, counted from 0.
consteval int versionNumber(int place) {
  int number = 0;
  for (const char* next = kVersion; *next != '\0'; ++next) {
    if (*next == '.') {
      --place;
    } else if (place == 0) {
      number = number * 10 + (*next - '0');
    }
  }
  return number;
}

}  // namespace pwr
