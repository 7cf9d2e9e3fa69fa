#pragma once

#include <string_view>
#include <vector>

namespace tavrin {

/// What the kernel asks for before it lets something be read, and how to come by it. All that the
/// tool knows of rights stands in the one table; docs/permissions.md explains it.
struct Right {
  const char* name;    ///< as its section in docs/permissions.md is called
  const char* guards;  ///< what is refused without it: a regular expression (see Refusal::what)
  const char* needs;
  std::vector<const char*> recipe;  ///< commands, one after the other, for a shell of the user
};

/// Names of what is refused that are no files.
inline constexpr const char* kCpuCounters = "perf_event_open of a CPU";
inline constexpr const char* kTaskCounters = "perf_event_open of a task";

/// The most useful first.
const std::vector<Right>& rights();
/// The one for want of which this was refused.
const Right& rightOf(std::string_view refused);

}  // namespace tavrin
