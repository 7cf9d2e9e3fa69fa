#pragma once

#include <optional>
#include <string_view>

/// How deep a state with one of the usual names is at rest, from 0 for full activity to 1 for the
/// deepest sleep: sleep states, performance states, kinds of processor time, frequencies (0 is the
/// highest). Nothing for any other name.
std::optional<double> stateDepth(std::string_view name);

/// The same of a state that is a number: a frequency, or without units one of the numbers 0 to 10,
/// in which states are counted from full activity to the deepest sleep.
std::optional<double> stateDepth(double number, std::string_view units);
