#include "tavrin/decoding/EventDecoder.h"

#include <algorithm>
#include <cstdint>

namespace tavrin {

namespace {

using What = KernelEvent::What;

constexpr unsigned long long kThreadFlag = 0x00010000;  // CLONE_THREAD

/// Every event begins with its id.
using EventId = std::uint16_t;

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

long long EventRecord::number(const FieldPlace& field) const {
  if (field.offset > bytes_.size() || field.size > bytes_.size() - field.offset) return 0;
  return order_.number(bytes_.data() + field.offset, field.size, field.isSigned);
}

std::span<const std::byte> EventRecord::content(const FieldPlace& field) const {
  std::size_t offset = field.offset;
  std::size_t size = field.size == 0 ? bytes_.size() : field.size;
  if (field.kind != FieldPlace::Kind::Here) {
    // The lower half is where the content begins, the upper half its length.
    const auto location = static_cast<std::uint32_t>(number(field));
    offset = location & 0xFFFFU;
    if (field.kind == FieldPlace::Kind::Relative) offset += field.offset + field.size;
    size = location >> 16U;
  }
  if (offset >= bytes_.size()) return {};
  return bytes_.subspan(offset, std::min(size, bytes_.size() - offset));
}

std::string_view EventRecord::text(const FieldPlace& field) const {
  const std::span<const std::byte> bytes = content(field);
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return text.substr(0, text.find('\0'));
}

std::span<const KnownEvent> knownEvents() {
  return kKnownEvents;
}

int EventDecoder::add(const KnownEvent& event, const EventFormat& format) {
  Format added{.event = &event};
  for (std::size_t i = 0; i < event.fields.size() && event.fields[i] != nullptr; ++i) {
    const FormatField* const field = format.find(event.fields[i]);
    if (field == nullptr) return 1;
    added.fields[i] = field->place;
  }
  if (format.id >= formats_.size()) formats_.resize(format.id + std::size_t{1});
  formats_[format.id] = added;
  return 0;
}

std::optional<KernelEvent::What> EventDecoder::decode(std::span<const std::byte> bytes) const {
  if (bytes.size() < sizeof(EventId)) return std::nullopt;
  const auto id = order_.number<EventId>(bytes.data());
  if (id >= formats_.size() || formats_[id].event == nullptr) return std::nullopt;
  return formats_[id].event->decode(EventRecord(bytes, formats_[id].fields.data(), order_));
}

}  // namespace tavrin
