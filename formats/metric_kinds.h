#pragma once

#include <array>
#include <string_view>

/// How the formats call the kinds of metrics. The place of a word is the number of the host's
/// metric type; the last one stands for every other type.
inline constexpr std::array<std::string_view, 6> kMetricKinds{
    "SAMPLED_DELTA",           "SAMPLED_RESIDENCY", "SAMPLED_VALUE",
    "TRACED_VALUE_TRANSITION", "TRACED_EVENT",      "UNKNOWN"};
