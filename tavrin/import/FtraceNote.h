#pragma once

#include <optional>
#include <string_view>

namespace tavrin {

/// What a line says that is no event: as a rule nothing about the recording.
struct FtraceNote {
  /// Events of a CPU that are missing at this place; 0 where their number is not told.
  struct Loss {
    unsigned int cpu = 0;
    unsigned long long count = 0;
  };

  std::optional<unsigned int> cpus;               ///< how many the machine has
  std::optional<unsigned long long> overwritten;  ///< events that were there before the first one
  std::optional<Loss> loss;
};

/// Reads the headings and notes that the kernel's file "trace" and `trace-cmd report` have among
/// their events, and the lines of stack traces. Nothing for any other line.
std::optional<FtraceNote> readFtraceNote(std::string_view line);

}  // namespace tavrin
