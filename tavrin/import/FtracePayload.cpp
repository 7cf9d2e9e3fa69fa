#include "tavrin/import/FtracePayload.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <unordered_map>

namespace tavrin {

namespace {

using What = KernelEvent::What;
using MaybeWhat = std::optional<What>;
using MaybeText = std::optional<std::string_view>;

constexpr std::size_t kNowhere = std::string_view::npos;
constexpr unsigned long long kThreadFlag = 0x00010000;  // CLONE_THREAD

/// The number that the text is, as a whole.
template <typename Number>
std::optional<Number> numberOf(std::string_view text, int base = 10) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, base);
  if (text.empty() || error != std::errc() || rest != end) return std::nullopt;
  return number;
}

/// The word behind the last "key=" of a payload, whose texts may have blanks and such keys in them:
/// what follows these texts has not.
MaybeText wordBehind(std::string_view payload, std::string_view key) {
  std::size_t place = payload.rfind(key);
  while (place != kNowhere && place != 0 && payload[place - 1] != ' ') {
    place = place == 0 ? kNowhere : payload.rfind(key, place - 1);
  }
  if (place == kNowhere) return std::nullopt;
  const std::string_view rest = payload.substr(place + key.size());
  return rest.substr(0, rest.find(' '));
}

template <typename Number>
std::optional<Number> numberBehind(std::string_view payload, std::string_view key, int base = 10) {
  const MaybeText word = wordBehind(payload, key);
  return word ? numberOf<Number>(*word, base) : std::nullopt;
}

/// The text from `begin`, with which the payload begins, to the last `end`.
MaybeText textBetween(std::string_view payload, std::string_view begin, std::string_view end) {
  const std::size_t place = payload.rfind(end);
  if (!payload.starts_with(begin) || place == kNowhere || place < begin.size()) return std::nullopt;
  return payload.substr(begin.size(), place - begin.size());
}

MaybeWhat idle(const FtraceLine& line) {
  const auto cpu = numberBehind<unsigned int>(line.payload, "cpu_id=");
  const auto state = numberBehind<unsigned int>(line.payload, "state=");
  if (!cpu || !state) return std::nullopt;
  return IdleEvent{.cpu = *cpu, .state = *state};
}

MaybeWhat frequency(const FtraceLine& line) {
  const auto cpu = numberBehind<unsigned int>(line.payload, "cpu_id=");
  const auto kilohertz = numberBehind<unsigned int>(line.payload, "state=");
  if (!cpu || !kilohertz) return std::nullopt;
  return FrequencyEvent{.cpu = *cpu, .kilohertz = *kilohertz};
}

/// "sshd:1977 [120]"
MaybeWhat shortSwitch(std::string_view next) {
  const std::size_t bracket = next.rfind(" [");
  if (bracket == kNowhere || !next.ends_with(']')) return std::nullopt;
  const std::string_view task = next.substr(0, bracket);
  const std::size_t colon = task.rfind(':');
  if (colon == kNowhere) return std::nullopt;
  const auto number = numberOf<int>(task.substr(colon + 1));
  if (!number) return std::nullopt;
  return SwitchEvent{.task = *number, .name = task.substr(0, colon)};
}

/// "prev_comm=… ==> next_comm=sshd next_pid=1977 next_prio=120", or "… ==> sshd:1977 [120]".
MaybeWhat taskSwitch(const FtraceLine& line) {
  constexpr std::string_view kArrow = " ==> ";
  constexpr std::string_view kName = "next_comm=";
  const std::size_t arrow = line.payload.find(kArrow);
  if (arrow == kNowhere || line.payload.rfind(kArrow) != arrow) return std::nullopt;
  const std::string_view next = line.payload.substr(arrow + kArrow.size());
  if (!next.starts_with(kName)) return shortSwitch(next);
  const MaybeText name = textBetween(next, kName, " next_pid=");
  const auto task = numberBehind<int>(next, "next_pid=");
  if (!name || !task) return std::nullopt;
  return SwitchEvent{.task = *task, .name = *name};
}

MaybeWhat newTask(const FtraceLine& line) {
  if (!line.payload.starts_with("pid=")) return std::nullopt;
  const auto task = numberOf<int>(line.payload.substr(4, line.payload.find(' ') - 4));
  const auto flags = numberBehind<unsigned long long>(line.payload, "clone_flags=", 16);
  if (!task || !flags) return std::nullopt;
  return NewTaskEvent{.creator = line.task, .task = *task, .isThread = (*flags & kThreadFlag) != 0};
}

/// "comm=bash pid=5 child_comm=bash child_pid=6"
MaybeWhat forked(const FtraceLine& line) {
  constexpr std::string_view kChild = " child_comm=";
  const std::size_t child = line.payload.find(kChild);
  if (child == kNowhere || line.payload.rfind(kChild) != child) return std::nullopt;
  const auto parent = numberBehind<int>(line.payload.substr(0, child), "pid=");
  const std::string_view rest = line.payload.substr(child + 1);
  const MaybeText name = textBetween(rest, "child_comm=", " child_pid=");
  const auto task = numberBehind<int>(rest, "child_pid=");
  if (!parent || !name || !task) return std::nullopt;
  return ForkEvent{.parent = *parent, .task = *task, .name = *name};
}

MaybeWhat executed(const FtraceLine& line) {
  const MaybeText path = textBetween(line.payload, "filename=", " pid=");
  const auto task = numberBehind<int>(line.payload, "pid=");
  if (!path || !task) return std::nullopt;
  return ExecEvent{.task = *task, .path = *path};
}

MaybeWhat exited(const FtraceLine& line) {
  const MaybeText name = textBetween(line.payload, "comm=", " pid=");
  const auto task = numberBehind<int>(line.payload, "pid=");
  if (!name || !task) return std::nullopt;
  return ExitEvent{.task = *task, .name = *name};
}

/// "alarmtimer state=0x10001"
template <bool kIsActive>
MaybeWhat wakeupSource(const FtraceLine& line) {
  const MaybeText source = textBetween(line.payload, "", " state=");
  if (!source) return std::nullopt;
  return WakeupSourceEvent{.source = *source, .isActive = kIsActive};
}

/// "0000:00:1f.3 flags-4 cnt-0  dep-0 …"; what is asked for is the end of the event's name.
MaybeWhat deviceRequest(const FtraceLine& line) {
  const MaybeText device = textBetween(line.payload, "", " flags-");
  if (!device) return std::nullopt;
  return DeviceRequestEvent{.device = *device,
                            .request = line.event.substr(line.event.find('_') + 1)};
}

MaybeWhat deviceStatus(const FtraceLine& line) {
  constexpr std::array<std::string_view, 6> kStates{"RPM_INVALID",    "RPM_ACTIVE",
                                                    "RPM_RESUMING",   "RPM_SUSPENDED",
                                                    "RPM_SUSPENDING", "RPM_BLOCKED"};
  const MaybeText device = textBetween(line.payload, "", " status=");
  const MaybeText status = wordBehind(line.payload, "status=");
  const auto* const state = std::ranges::find(kStates, status.value_or(""));
  if (!device || state == kStates.end()) return std::nullopt;
  return DeviceStatusEvent{.device = *device,
                           .status = static_cast<int>(state - kStates.begin()) - 1};
}

MaybeWhat temperature(const FtraceLine& line) {
  const MaybeText zone = textBetween(line.payload, "thermal_zone=", " id=");
  const auto millidegrees = numberBehind<int>(line.payload, "temp=");
  if (!zone || !millidegrees) return std::nullopt;
  return TemperatureEvent{.zone = *zone, .millidegrees = *millidegrees};
}

MaybeWhat trip(const FtraceLine& line) {
  const MaybeText zone = textBetween(line.payload, "thermal_zone=", " id=");
  const auto number = numberBehind<int>(line.payload, "trip=");
  if (!zone || !number) return std::nullopt;
  return TripEvent{.zone = *zone, .trip = *number};
}

MaybeWhat cooling(const FtraceLine& line) {
  const MaybeText device = textBetween(line.payload, "type=", " target=");
  const auto state = numberBehind<unsigned long long>(line.payload, "target=");
  if (!device || !state) return std::nullopt;
  return CoolingEvent{.device = *device, .state = *state};
}

/// "usb 1-1, parent: usb1, noirq bus [suspend]": driver and device, with a blank between them.
MaybeWhat callbackBegin(const FtraceLine& line) {
  const MaybeText driven = textBetween(line.payload, "", ", parent: ");
  const std::size_t bracket = line.payload.rfind('[');
  const std::size_t comma = line.payload.rfind(", ");
  if (!driven || bracket == kNowhere || comma > bracket || !line.payload.ends_with(']')) {
    return std::nullopt;
  }
  const std::size_t blank = driven->find(' ');
  if (blank == kNowhere || driven->rfind(' ') != blank) return std::nullopt;
  const std::string_view operations = line.payload.substr(comma + 2, bracket - comma - 2);
  return DeviceCallbackEvent{
      .device = driven->substr(blank + 1),
      .isBegin = true,
      .operations = operations.substr(0, operations.find_last_not_of(' ') + 1),
      .verb = line.payload.substr(bracket + 1, line.payload.size() - bracket - 2)};
}

/// "usb 1-1, err=0"
MaybeWhat callbackEnd(const FtraceLine& line) {
  const MaybeText driven = textBetween(line.payload, "", ", err=");
  const std::size_t blank = driven.value_or("").find(' ');
  if (blank == kNowhere || driven->rfind(' ') != blank) return std::nullopt;
  return DeviceCallbackEvent{.device = driven->substr(blank + 1)};
}

/// "name=vdd"; the state is that which the end of the event's name says.
MaybeWhat regulator(const FtraceLine& line) {
  if (!line.payload.starts_with("name=")) return std::nullopt;
  const bool isComplete = line.event.ends_with("_complete");
  const bool isOn = line.event.starts_with("regulator_enable");
  const char* const done = isOn ? "enabled" : "disabled";
  const char* const begun = isOn ? "enabling" : "disabling";
  return RegulatorEvent{.regulator = line.payload.substr(5), .state = isComplete ? done : begun};
}

/// "uart_clk"
template <bool kIsEnabled>
MaybeWhat clock(const FtraceLine& line) {
  if (line.payload.empty()) return std::nullopt;
  return ClockEvent{.clock = line.payload, .isEnabled = kIsEnabled};
}

/// "uart_clk 48000000"
MaybeWhat clockRate(const FtraceLine& line) {
  const std::size_t blank = line.payload.rfind(' ');
  if (blank == kNowhere) return std::nullopt;
  const auto hertz = numberOf<unsigned long long>(line.payload.substr(blank + 1));
  if (!hertz) return std::nullopt;
  return ClockRateEvent{.clock = line.payload.substr(0, blank), .hertz = *hertz};
}

/// "uart_clk state=1 cpu_id=0"
template <bool kIsEnabled>
MaybeWhat oldClock(const FtraceLine& line) {
  const MaybeText clock = textBetween(line.payload, "", " state=");
  if (!clock) return std::nullopt;
  return ClockEvent{.clock = *clock, .isEnabled = kIsEnabled};
}

MaybeWhat oldClockRate(const FtraceLine& line) {
  const MaybeText clock = textBetween(line.payload, "", " state=");
  const auto hertz = numberBehind<unsigned long long>(line.payload, "state=");
  if (!clock || !hertz) return std::nullopt;
  return ClockRateEvent{.clock = *clock, .hertz = *hertz};
}

using Decode = MaybeWhat (*)(const FtraceLine& line);

/// How the kernel prints the events that are known; those of `knownEvents`, which has them binary.
Decode decoderOf(std::string_view event) {
  static const std::unordered_map<std::string_view, Decode> kDecoders{
      {"cpu_idle", idle},
      {"cpu_frequency", frequency},
      {"sched_switch", taskSwitch},
      {"task_newtask", newTask},
      {"sched_process_fork", forked},
      {"sched_process_exec", executed},
      {"sched_process_exit", exited},
      {"wakeup_source_activate", wakeupSource<true>},
      {"wakeup_source_deactivate", wakeupSource<false>},
      {"rpm_suspend", deviceRequest},
      {"rpm_resume", deviceRequest},
      {"rpm_idle", deviceRequest},
      {"rpm_status", deviceStatus},
      {"thermal_temperature", temperature},
      {"thermal_zone_trip", trip},
      {"cdev_update", cooling},
      {"device_pm_callback_start", callbackBegin},
      {"device_pm_callback_end", callbackEnd},
      {"regulator_enable", regulator},
      {"regulator_enable_complete", regulator},
      {"regulator_disable", regulator},
      {"regulator_disable_complete", regulator},
      {"clk_enable_complete", clock<true>},
      {"clk_disable_complete", clock<false>},
      {"clk_set_rate_complete", clockRate},
      {"clock_enable", oldClock<true>},
      {"clock_disable", oldClock<false>},
      {"clock_set_rate", oldClockRate},
  };
  const auto found = kDecoders.find(event);
  return found == kDecoders.end() ? nullptr : found->second;
}

bool isMark(std::string_view event) {
  constexpr std::string_view kMarks[] = {
      "print",      "bprint",       "bputs",    "raw_data",
      "user_stack", "kernel_stack", "function", "tracing_mark_write"};
  return std::ranges::find(kMarks, event) != std::end(kMarks);
}

bool isKey(std::string_view text) {
  const auto isOfKey = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  };
  return !text.empty() && std::ranges::all_of(text, isOfKey);
}

/// A number that reads back as it is written, apart from hexadecimal ones; else the text.
EventField::Value valueOf(std::string_view text) {
  const std::string_view digits = text.substr(text.starts_with('-') ? 1 : 0);
  if (digits.starts_with("0x")) {
    const auto number = numberOf<unsigned long long>(text.substr(2), 16);
    if (number && digits.size() == text.size()) return *number;
  }
  if (digits.size() > 1 && digits.starts_with('0')) return text;
  if (const auto number = numberOf<long long>(text)) return *number;
  if (const auto number = numberOf<unsigned long long>(text)) return *number;
  return text;
}

}  // namespace

bool FtracePayload::readFields(std::string_view payload) {
  fields_.clear();
  while (!payload.empty()) {
    const std::string_view word = payload.substr(0, payload.find(' '));
    const std::size_t sign = word.find('=');
    if (sign == kNowhere || !isKey(word.substr(0, sign))) return false;
    fields_.push_back({word.substr(0, sign), valueOf(word.substr(sign + 1))});
    payload.remove_prefix(word.size());
    payload.remove_prefix(std::min(payload.find_first_not_of(' '), payload.size()));
  }
  return true;
}

OtherEvent FtracePayload::other(const FtraceLine& line) {
  OtherEvent event{.fields = {}, .task = line.task, .taskName = line.taskName};
  if (!isMark(line.event) && readFields(line.payload)) {
    event.fields = fields_;
  } else {
    event.text = line.payload;
  }
  return event;
}

KernelEvent::What FtracePayload::read(const FtraceLine& line) {
  isOdd_ = false;
  if (const Decode decode = decoderOf(line.event)) {
    if (auto what = decode(line)) return *what;
    isOdd_ = true;
  }
  return other(line);
}

}  // namespace tavrin
