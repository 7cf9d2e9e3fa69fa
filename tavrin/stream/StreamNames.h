#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "writers/host/Attribute.h"
#include "writers/host/DataHandle.h"
#include "writers/host/Metric.h"
#include "writers/host/Quantity.h"
#include "writers/host/TableMessage.h"
#include "writers/host/TextMessage.h"

/// The words that stand for enumeration values in a recorded stream. The first of each list is what
/// a member that is left out means.
namespace tavrin::names {

inline constexpr std::string_view kStreamType = "tavrin-stream";
/// What is written, and the oldest version that is still read.
inline constexpr unsigned int kStreamVersion = 2;
inline constexpr unsigned int kOldestVersion = 1;

template <typename E>
struct Name {
  std::string_view name;
  E value;
};

/// The word for a value; empty for one that the list has not.
template <typename E, std::size_t N>
constexpr std::string_view nameOf(const std::array<Name<E>, N>& list, E value) {
  for (const Name<E>& candidate : list) {
    if (candidate.value == value) return candidate.name;
  }
  return {};
}

inline constexpr auto kQuantities = std::to_array<Name<pwr::QuantityType>>({
    {"other", pwr::QuantityType::Other},
    {"count", pwr::QuantityType::Count},
    {"time", pwr::QuantityType::Time},
    {"percentage", pwr::QuantityType::Percentage},
    {"temperature", pwr::QuantityType::Temperature},
    {"frequency", pwr::QuantityType::Frequency},
    {"energy", pwr::QuantityType::Energy},
    {"power", pwr::QuantityType::Power},
    {"voltage", pwr::QuantityType::Voltage},
    {"size", pwr::QuantityType::Size},
    {"rate", pwr::QuantityType::Rate},
    {"stateEntry", pwr::QuantityType::StateEntry},
    {"state", pwr::QuantityType::State},
});

inline constexpr auto kAttributeValues = std::to_array<Name<pwr::AttributeType>>({
    {"string", pwr::AttributeType::String},
    {"int", pwr::AttributeType::Int},
    {"uint", pwr::AttributeType::UInt},
    {"real", pwr::AttributeType::Real},
    {"handle", pwr::AttributeType::Handle},
    {"info", pwr::AttributeType::Info},
});

inline constexpr auto kHandles = std::to_array<Name<pwr::DataHandleType>>({
    {"field", pwr::DataHandleType::Field},
    {"state", pwr::DataHandleType::State},
    {"attribute", pwr::DataHandleType::Attribute},
    {"descriptor", pwr::DataHandleType::Descriptor},
});

inline constexpr auto kMetrics = std::to_array<Name<pwr::Metric::MetricType>>({
    {"value", pwr::Metric::MetricType::SampledValue},
    {"delta", pwr::Metric::MetricType::SampledDelta},
    {"residency", pwr::Metric::MetricType::SampledResidency},
    {"transition", pwr::Metric::MetricType::TracedValueTransition},
    {"event", pwr::Metric::MetricType::TracedEvent},
});

inline constexpr auto kLegacyTables = std::to_array<Name<pwr::RealTableClass>>({
    {"none", pwr::RealTableClass::None},
    {"residency", pwr::RealTableClass::Residency},
    {"counter", pwr::RealTableClass::Counter},
    {"value", pwr::RealTableClass::Value},
    {"trace", pwr::RealTableClass::Trace},
});

inline constexpr auto kTables = std::to_array<Name<pwr::TableClass>>({
    {"summary", pwr::TableClass::Summary},
    {"detail", pwr::TableClass::Detail},
});

inline constexpr auto kTexts = std::to_array<Name<pwr::TextMessageKind>>({
    {"plain", pwr::TextMessageKind::Plain},
    {"header", pwr::TextMessageKind::Header},
});

}  // namespace tavrin::names
