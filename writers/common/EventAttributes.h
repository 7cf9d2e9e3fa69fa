#pragma once

#include <optional>
#include <string>

#include "writers/host/Attribute.h"
#include "writers/host/Metric.h"
#include "writers/host/Process.h"

/// Calls `visit(name, quantity, value)` for every attribute of a data element, the declared ones
/// first. The quantity may be null.
template <typename Visit>
void forEachAttribute(const pwr::DataElement& element, const Visit& visit) {
  if (const auto* const declared = element.getAttributes(); declared != nullptr) {
    for (const auto& [attribute, value] : *declared) {
      visit(attribute->getName(), attribute->getQuantity(), value);
    }
  }
  if (const auto* const dynamic = element.getAdditionalInfo(); dynamic != nullptr) {
    for (const auto& [id, value] : *dynamic) {
      const pwr::DataHandle* handle = nullptr;
      if (pwr::DataHandle::get(id, handle) != 0) continue;
      visit(handle->getName(), handle->getQuantity(), value);
    }
  }
}

/// The process and the thread that an event belongs to, by their numbers, where its attributes
/// tell.
struct EventOwner {
  std::optional<long long> pid;
  std::optional<long long> tid;

  static EventOwner of(const pwr::DataElement& element) {
    EventOwner owner;
    forEachAttribute(element, [&](const std::string& name, const pwr::Quantity* /*quantity*/,
                                  const pwr::Data& value) {
      const std::optional<long long> number = numberIn(name, value);
      if (number) (name == pwr::kPidAttribute ? owner.pid : owner.tid) = number;
    });
    return owner;
  }

  /// The number of a process or a thread, where an attribute names one of them rather than
  /// something else to tell of the event.
  static std::optional<long long> numberIn(const std::string& attribute, const pwr::Data& value) {
    const bool isWhole =
        value.getType() == pwr::DataType::Int || value.getType() == pwr::DataType::UInt;
    const bool isOwner = attribute == pwr::kPidAttribute || attribute == pwr::kTidAttribute;
    long long number = 0;
    if (!isWhole || !isOwner || value.toInt(number) != 0) return std::nullopt;
    return number;
  }
};
