#pragma once

#include <array>
#include <string_view>

/// How the formats call the kinds of metrics. The place of a word is the number of the host's
/// metric type; the last one stands for every other type.
inline constexpr std::array<std::string_view, 6> kMetricKinds{
    "SAMPLED_DELTA",           "SAMPLED_RESIDENCY", "SAMPLED_VALUE",
    "TRACED_VALUE_TRANSITION", "TRACED_EVENT",      "UNKNOWN"};

/// The group of descriptors that only tell the elements of one time apart, whose owners are in
/// their attributes: the values under one of them have nothing in common.
inline constexpr const char* kRankGroup = "Rank";
/// The process, as its attribute calls it, that stands for those that have no element of their own.
inline constexpr const char* kOtherProcesses = "others";
