#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "writers/host/SystemMetadata.h"

/// A text, a count or timestamp (ticks), a frequency (MHz), or a time (seconds).
using SystemFactValue = std::variant<std::string, std::uint64_t, float, double>;

enum class SystemFactGroup { Platform, OperatingSystem, Collection };

/// One fact of the system that was measured, or of the collection.
struct SystemFact {
  SystemFactGroup group;
  bool isContinuous;  ///< whether the continuous JSON output has it, too
  const char* key;    ///< its name in the JSON outputs; null where they do not have it
  const char* title;  ///< its name in tables for people; null where they do not have it
  SystemFactValue (*of)(const pwr::SystemMetadata& system);
};

/// The facts that outputs list, group by group, in the order in which they do.
std::span<const SystemFact> systemFacts();
