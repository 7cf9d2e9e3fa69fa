#include "tavrin/events/ThingGroups.h"

#include <array>

#include "hostcommon/Descriptions.h"
#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

using Type = pwr::Metric::MetricType;

constexpr double kMillidegrees = 1000.0;
constexpr double kHertzPerMegahertz = 1e6;

/// In the order of the kernel's `enum rpm_status`, whose first value is -1.
constexpr std::array<const char*, 6> kDeviceStates{"invalid",   "active",     "resuming",
                                                   "suspended", "suspending", "blocked"};

pwr::Data deviceState(int status) {
  const auto index = static_cast<std::size_t>(status) + 1;
  return index < kDeviceStates.size() ? pwr::Data(kDeviceStates[index])
                                      : pwr::Data("status " + std::to_string(status));
}

pwr::MetricDescription description(const char* name, Type type, const pwr::Quantity* quantity,
                                   const char* things, const char* values,
                                   const std::vector<const char*>& states = {}) {
  pwr::MetricDescription metric{.name = name, .type = type, .quantity = quantity};
  metric.entityGroup = std::make_shared<const pwr::Field>(things);
  metric.descriptorGroup = metric.entityGroup;  // heads the rows of what has no entity yet
  metric.valueGroup = std::make_shared<const pwr::Field>(values);
  for (const char* state : states) metric.finiteSet.emplace_back(state);
  return metric;
}

const pwr::Quantity* count(const char* name) {
  return pwr::createQuantity({.type = pwr::QuantityType::Count, .name = name});
}

}  // namespace

WakeupGroup::WakeupGroup(EventShared& /*shared*/, const Place& place)
    : states_(
          addMetric(description("Wakeup Source State", Type::TracedValueTransition, stateQuantity(),
                                "Wakeup Source", "State", {"active", "inactive"}),
                    place, "State"),
          "Wakeup Source") {}

void WakeupGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  const auto* const change = std::get_if<WakeupSourceEvent>(&event.what);
  if (change == nullptr) return states_.finish(event.time, sink);
  states_.change(change->source, event.time, pwr::Data(change->isActive ? "active" : "inactive"),
                 sink);
}

DeviceGroup::DeviceGroup(EventShared& /*shared*/, const Place& place)
    : states_(addMetric(
                  description("Runtime PM Status", Type::TracedValueTransition, stateQuantity(),
                              "Device", "State", {"active", "resuming", "suspended", "suspending"}),
                  place, "State"),
              "Device"),
      devices_("Device"),
      requests_(addMetric(description("Runtime PM Requests", Type::TracedEvent, stateQuantity(),
                                      "Device", "Request"),
                          place, "Request")),
      callbacks_(addMetric(description("Device PM Callbacks", Type::TracedValueTransition,
                                       stateQuantity(), "Device", "Callback"),
                           place, "Callback"),
                 "Device") {}

void DeviceGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  if (const auto* const change = std::get_if<DeviceStatusEvent>(&event.what)) {
    states_.change(change->device, event.time, deviceState(change->status), sink);
  } else if (const auto* const request = std::get_if<DeviceRequestEvent>(&event.what)) {
    const pwr::EntityHandle* const device = devices_[request->device];
    if (device == nullptr) return;
    requests_.deliver(event.time, 0, device, pwr::Data(std::string(request->request)), nullptr,
                      sink);
  } else if (const auto* const callback = std::get_if<DeviceCallbackEvent>(&event.what)) {
    if (!callback->isBegin) return callbacks_.forget(callback->device, event.time, sink);
    const std::string name = std::string(callback->operations) + " " + std::string(callback->verb);
    callbacks_.change(callback->device, event.time, pwr::Data(escaped(name)), sink);
  } else {
    finish(event.time, sink);
  }
}

void DeviceGroup::finish(unsigned long long time, pwr::MessageSink& sink) {
  states_.finish(time, sink);
  callbacks_.finish(time, sink);
}

ThermalGroup::ThermalGroup(EventShared& /*shared*/, const Place& place)
    : temperatures_(
          addMetric(description("Zone Temperature", Type::TracedValueTransition,
                                pwr::createQuantity({.type = pwr::QuantityType::Temperature,
                                                     .name = "Temperature",
                                                     .units = "C"}),
                                "Zone", "Temperature"),
                    place, "Temperature"),
          "Thermal Zone"),
      cooling_(addMetric(description("Cooling State", Type::TracedValueTransition,
                                     count("Cooling State"), "Device", "State"),
                         place, "State"),
               "Cooling Device"),
      zones_("Thermal Zone"),
      trips_(addMetric(description("Zone Trips", Type::TracedEvent, count("Trip"), "Zone", "Trip"),
                       place, "Trip")) {}

void ThermalGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  if (const auto* const read = std::get_if<TemperatureEvent>(&event.what)) {
    temperatures_.change(read->zone, event.time, pwr::Data(read->millidegrees / kMillidegrees),
                         sink);
  } else if (const auto* const cooling = std::get_if<CoolingEvent>(&event.what)) {
    cooling_.change(cooling->device, event.time, pwr::Data(cooling->state), sink);
  } else if (const auto* const trip = std::get_if<TripEvent>(&event.what)) {
    const pwr::EntityHandle* const zone = zones_[trip->zone];
    if (zone == nullptr) return;
    trips_.deliver(event.time, 0, zone, pwr::Data(trip->trip), nullptr, sink);
  } else {
    finish(event.time, sink);
  }
}

void ThermalGroup::finish(unsigned long long time, pwr::MessageSink& sink) {
  temperatures_.finish(time, sink);
  cooling_.finish(time, sink);
}

RegulatorGroup::RegulatorGroup(EventShared& /*shared*/, const Place& place)
    : states_(addMetric(description("Regulator State", Type::TracedValueTransition, stateQuantity(),
                                    "Regulator", "State",
                                    {"enabled", "disabling", "disabled", "enabling"}),
                        place, "State"),
              "Regulator") {}

void RegulatorGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  const auto* const change = std::get_if<RegulatorEvent>(&event.what);
  if (change == nullptr) return states_.finish(event.time, sink);
  states_.change(change->regulator, event.time, pwr::Data(std::string(change->state)), sink);
}

ClockGroup::ClockGroup(EventShared& /*shared*/, const Place& place)
    : states_(addMetric(description("Clock State", Type::TracedValueTransition, stateQuantity(),
                                    "Clock", "State", {"enabled", "disabled"}),
                        place, "State"),
              "Clock"),
      rates_(addMetric(description("Clock Rate", Type::TracedValueTransition,
                                   pwr::createQuantity({.type = pwr::QuantityType::Frequency,
                                                        .name = "Frequency",
                                                        .units = "MHz"}),
                                   "Clock", "Rate"),
                       place, "Rate"),
             "Clock") {}

void ClockGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  if (const auto* const change = std::get_if<ClockEvent>(&event.what)) {
    states_.change(change->clock, event.time, pwr::Data(change->isEnabled ? "enabled" : "disabled"),
                   sink);
  } else if (const auto* const rate = std::get_if<ClockRateEvent>(&event.what)) {
    rates_.change(rate->clock, event.time,
                  pwr::Data(static_cast<double>(rate->hertz) / kHertzPerMegahertz), sink);
  } else {
    finish(event.time, sink);
  }
}

void ClockGroup::finish(unsigned long long time, pwr::MessageSink& sink) {
  states_.finish(time, sink);
  rates_.finish(time, sink);
}

}  // namespace tavrin
