#include "tavrin/tracing/EventDecoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace tavrin {

namespace {

using What = KernelEvent::What;

constexpr unsigned long long kThreadFlag = 0x00010000;  // CLONE_THREAD

/// Every event begins with its id.
using EventId = std::uint16_t;

template <typename Number>
Number readAs(const std::byte* place) {
  Number number{};
  std::memcpy(&number, place, sizeof number);
  return number;
}

template <typename Signed, typename Unsigned>
long long readEither(const std::byte* place, bool isSigned) {
  return isSigned ? static_cast<long long>(readAs<Signed>(place))
                  : static_cast<long long>(readAs<Unsigned>(place));
}

What wakeupSource(const EventRecord& record, bool isActive) {
  return WakeupSourceEvent{.source = record.text(0), .isActive = isActive};
}

What deviceRequest(const EventRecord& record, std::string_view request) {
  return DeviceRequestEvent{.device = record.text(0), .request = request};
}

What regulator(const EventRecord& record, std::string_view state) {
  return RegulatorEvent{.regulator = record.text(0), .state = state};
}

What clock(const EventRecord& record, bool isEnabled) {
  return ClockEvent{.clock = record.text(0), .isEnabled = isEnabled};
}

What clockRate(const EventRecord& record) {
  return ClockRateEvent{.clock = record.text(0), .hertz = record.as<unsigned long long>(1)};
}

/// By the bits of the kernel's `PM_EVENT_…`, from the lowest one.
std::string_view transitionVerb(unsigned int event) {
  constexpr std::string_view kVerbs[] = {"freeze", "suspend", "hibernate", "quiesce",
                                         "resume", "thaw",    "restore",   "recover"};
  for (std::size_t bit = 0; bit < std::size(kVerbs); ++bit) {
    if (event == 1U << bit) return kVerbs[bit];
  }
  return "unknown";
}

/// Without the blank that the kernel puts behind.
std::string_view trimmed(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

constexpr KnownEvent kKnownEvents[] = {
    {"power",
     "cpu_idle",
     EventGroup::Idle,
     {"cpu_id", "state"},
     [](const EventRecord& record) -> What {
       return IdleEvent{.cpu = record.as<unsigned int>(0), .state = record.as<unsigned int>(1)};
     }},
    {"power",
     "cpu_frequency",
     EventGroup::Frequency,
     {"cpu_id", "state"},
     [](const EventRecord& record) -> What {
       return FrequencyEvent{.cpu = record.as<unsigned int>(0),
                             .kilohertz = record.as<unsigned int>(1)};
     }},
    {"sched",
     "sched_switch",
     EventGroup::Schedule,
     {"next_pid", "next_comm"},
     [](const EventRecord& record) -> What {
       return SwitchEvent{.task = record.as<int>(0), .name = record.text(1)};
     }},
    {"task",
     "task_newtask",
     EventGroup::Process,
     {"common_pid", "pid", "clone_flags"},
     [](const EventRecord& record) -> What {
       return NewTaskEvent{.creator = record.as<int>(0),
                           .task = record.as<int>(1),
                           .isThread = (record.as<unsigned long long>(2) & kThreadFlag) != 0};
     }},
    {"sched",
     "sched_process_fork",
     EventGroup::Process,
     {"parent_pid", "child_pid", "child_comm"},
     [](const EventRecord& record) -> What {
       return ForkEvent{
           .parent = record.as<int>(0), .task = record.as<int>(1), .name = record.text(2)};
     }},
    {"sched",
     "sched_process_exec",
     EventGroup::Process,
     {"pid", "filename"},
     [](const EventRecord& record) -> What {
       return ExecEvent{.task = record.as<int>(0), .path = record.text(1)};
     }},
    {"sched",
     "sched_process_exit",
     EventGroup::Process,
     {"pid", "comm"},
     [](const EventRecord& record) -> What {
       return ExitEvent{.task = record.as<int>(0), .name = record.text(1)};
     }},
    {"power",
     "wakeup_source_activate",
     EventGroup::Wakeup,
     {"name"},
     [](const EventRecord& record) { return wakeupSource(record, true); }},
    {"power",
     "wakeup_source_deactivate",
     EventGroup::Wakeup,
     {"name"},
     [](const EventRecord& record) { return wakeupSource(record, false); }},
    {"rpm",
     "rpm_suspend",
     EventGroup::DevicePower,
     {"name"},
     [](const EventRecord& record) { return deviceRequest(record, "suspend"); }},
    {"rpm",
     "rpm_resume",
     EventGroup::DevicePower,
     {"name"},
     [](const EventRecord& record) { return deviceRequest(record, "resume"); }},
    {"rpm",
     "rpm_idle",
     EventGroup::DevicePower,
     {"name"},
     [](const EventRecord& record) { return deviceRequest(record, "idle"); }},
    {"rpm",
     "rpm_status",
     EventGroup::DevicePower,
     {"name", "status"},
     [](const EventRecord& record) -> What {
       return DeviceStatusEvent{.device = record.text(0), .status = record.as<int>(1)};
     }},
    {"thermal",
     "thermal_temperature",
     EventGroup::Thermal,
     {"thermal_zone", "temp"},
     [](const EventRecord& record) -> What {
       return TemperatureEvent{.zone = record.text(0), .millidegrees = record.as<int>(1)};
     }},
    {"thermal",
     "thermal_zone_trip",
     EventGroup::Thermal,
     {"thermal_zone", "trip"},
     [](const EventRecord& record) -> What {
       return TripEvent{.zone = record.text(0), .trip = record.as<int>(1)};
     }},
    {"thermal",
     "cdev_update",
     EventGroup::Thermal,
     {"type", "target"},
     [](const EventRecord& record) -> What {
       return CoolingEvent{.device = record.text(0), .state = record.as<unsigned long long>(1)};
     }},
    {"power",
     "device_pm_callback_start",
     EventGroup::DevicePower,
     {"device", "pm_ops", "event"},
     [](const EventRecord& record) -> What {
       return DeviceCallbackEvent{.device = record.text(0),
                                  .isBegin = true,
                                  .operations = trimmed(record.text(1)),
                                  .verb = transitionVerb(record.as<unsigned int>(2))};
     }},
    {"power",
     "device_pm_callback_end",
     EventGroup::DevicePower,
     {"device"},
     [](const EventRecord& record) -> What {
       return DeviceCallbackEvent{.device = record.text(0)};
     }},
    {"regulator",
     "regulator_enable",
     EventGroup::Regulator,
     {"name"},
     [](const EventRecord& record) { return regulator(record, "enabling"); }},
    {"regulator",
     "regulator_enable_complete",
     EventGroup::Regulator,
     {"name"},
     [](const EventRecord& record) { return regulator(record, "enabled"); }},
    {"regulator",
     "regulator_disable",
     EventGroup::Regulator,
     {"name"},
     [](const EventRecord& record) { return regulator(record, "disabling"); }},
    {"regulator",
     "regulator_disable_complete",
     EventGroup::Regulator,
     {"name"},
     [](const EventRecord& record) { return regulator(record, "disabled"); }},
    {"clk",
     "clk_enable_complete",
     EventGroup::Clock,
     {"name"},
     [](const EventRecord& record) { return clock(record, true); }},
    {"clk",
     "clk_disable_complete",
     EventGroup::Clock,
     {"name"},
     [](const EventRecord& record) { return clock(record, false); }},
    {"clk", "clk_set_rate_complete", EventGroup::Clock, {"name", "rate"}, clockRate},
    {"power",
     "clock_enable",
     EventGroup::Clock,
     {"name"},
     [](const EventRecord& record) { return clock(record, true); }},
    {"power",
     "clock_disable",
     EventGroup::Clock,
     {"name"},
     [](const EventRecord& record) { return clock(record, false); }},
    {"power", "clock_set_rate", EventGroup::Clock, {"name", "state"}, clockRate},
};

}  // namespace

long long EventRecord::number(std::size_t field) const {
  const Field& place = fields_[field];
  if (place.offset > bytes_.size() || place.size > bytes_.size() - place.offset) return 0;
  const std::byte* const bytes = bytes_.data() + place.offset;
  const bool isSigned = place.is_signed != 0;
  switch (place.size) {
    case 1:
      return readEither<std::int8_t, std::uint8_t>(bytes, isSigned);
    case 2:
      return readEither<std::int16_t, std::uint16_t>(bytes, isSigned);
    case 4:
      return readEither<std::int32_t, std::uint32_t>(bytes, isSigned);
    case 8:
      return readAs<std::int64_t>(bytes);
    default:
      return 0;
  }
}

std::string_view EventRecord::text(std::size_t field) const {
  Field place = fields_[field];
  if (place.is_dynamic != 0) {
    // The lower half is where the content begins, the upper half its length.
    const auto location = static_cast<std::uint32_t>(number(field));
    const std::size_t base = place.is_relative != 0 ? place.offset + place.size : 0;
    place.offset = static_cast<unsigned int>(base + (location & 0xFFFFU));
    place.size = location >> 16U;
  }
  if (place.offset >= bytes_.size()) return {};
  const std::string_view text(reinterpret_cast<const char*>(bytes_.data()) + place.offset,
                              std::min<std::size_t>(place.size, bytes_.size() - place.offset));
  return text.substr(0, text.find('\0'));
}

std::span<const KnownEvent> knownEvents() {
  return kKnownEvents;
}

int EventDecoder::add(const KnownEvent& event, std::string_view format) {
  const int id = trace_api_parse_format(parsed_.get(), event.system, format.data(), format.size());
  if (id < 0 || id > UINT16_MAX) return 1;
  Format added{.event = &event};
  for (std::size_t i = 0; i < event.fields.size() && event.fields[i] != nullptr; ++i) {
    if (trace_api_find_field(parsed_.get(), id, event.fields[i], &added.fields[i]) != 0) return 1;
  }
  const auto index = static_cast<std::size_t>(id);
  if (index >= formats_.size()) formats_.resize(index + 1);
  formats_[index] = added;
  return 0;
}

std::optional<KernelEvent::What> EventDecoder::decode(std::span<const std::byte> bytes) const {
  if (bytes.size() < sizeof(EventId)) return std::nullopt;
  const auto id = readAs<EventId>(bytes.data());
  if (id >= formats_.size() || formats_[id].event == nullptr) return std::nullopt;
  return formats_[id].event->decode(EventRecord(bytes, formats_[id].fields.data()));
}

}  // namespace tavrin
