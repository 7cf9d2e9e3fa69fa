#include "tavrin/collect/CommandFeature.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <system_error>

#include "hostcommon/summary/TableBuilder.h"
#include "tavrin/collect/Interval.h"

namespace tavrin {

namespace {

constexpr double kMicrojoulesPerJoule = 1e6;

double milliseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

/// The rows of the table, and what is said about those that lack a value.
class CommandRows {
 public:
  explicit CommandRows(pwr::TableBuilder& table) : table_(table) {}

  template <typename Number>
  void add(const std::string& name, const std::optional<Number>& number) {
    table_.row({pwr::Data(name), number ? pwr::Data(*number) : pwr::Data("n/a")});
  }
  void add(const std::string& name, const std::string& text) {
    table_.row({pwr::Data(name), pwr::Data(text)});
  }

 private:
  pwr::TableBuilder& table_;
};

/// Of the kernel's accounts, complete once the command has ended.
void addUsage(CommandRows& rows, const std::optional<CommandUsage>& usage) {
  const auto of = [&](const auto& get) {
    return usage ? std::optional(get(usage->resources)) : std::nullopt;
  };
  using Resources = const rusage&;
  const auto elapsed = [&] {
    return std::chrono::duration<double, std::milli>(usage->elapsed).count();
  };
  rows.add("Elapsed Time (ms)", usage ? std::optional(elapsed()) : std::nullopt);
  rows.add("User Time (ms)", of([](Resources r) { return milliseconds(r.ru_utime); }));
  rows.add("System Time (ms)", of([](Resources r) { return milliseconds(r.ru_stime); }));
  rows.add("Peak Memory (KiB)", of([](Resources r) { return r.ru_maxrss; }));
  rows.add("Page Faults", of([](Resources r) { return r.ru_minflt; }));
  rows.add("Page Faults with I/O", of([](Resources r) { return r.ru_majflt; }));
  rows.add("Voluntary Switches", of([](Resources r) { return r.ru_nvcsw; }));
  rows.add("Involuntary Switches", of([](Resources r) { return r.ru_nivcsw; }));
}

void addCounters(CommandRows& rows, const CommandCounters& counters) {
  bool isClock = true;
  for (const CommandCounters::Counter& counter : counters.counters()) {
    const std::optional<double> value = CommandCounters::value(counter);
    if (isClock) {
      rows.add(counter.name + " (ms)",
               value ? std::optional(*value / kTicksPerMillisecond) : std::nullopt);
    } else {
      rows.add(counter.name,
               value ? std::optional(static_cast<unsigned long long>(*value)) : std::nullopt);
    }
    isClock = false;
  }
}

/// Why counters have no value: the one reason that those have which could not be opened.
std::string whyNotCounted(const CommandCounters& counters) {
  const auto absent = std::ranges::find_if(
      counters.counters(), [](const auto& counter) { return counter.descriptor < 0; });
  if (absent == counters.counters().end()) return {};
  if (absent->error == ENOENT || absent->error == EOPNOTSUPP) {
    return " The processor, or the machine that it is a part of, offers no such counters.";
  }
  return " Counters are not to be had: " + std::generic_category().message(absent->error) + ".";
}

}  // namespace

CommandFeature::CommandFeature(const ChildProcess* command, std::shared_ptr<EnergyCounters> energy)
    : Feature("command", "Command", "What the measured command used"),
      command_(command),
      energy_(std::move(energy)) {}

std::string CommandFeature::probe(const SysRoot& /*root*/, CpuEntities& /*cpus*/,
                                  unsigned int containerId) {
  if (command_ == nullptr) return "no command is measured (record -- COMMAND)";
  containerId_ = containerId;
  counters_.open();
  return {};
}

void CommandFeature::finish(pwr::SystemDescription& /*system*/, pwr::MessageSink& sink) {
  const std::optional<CommandUsage>& usage = command_->usage();
  const std::optional<unsigned long long> energy = energy_->packageMicrojoules();
  std::string note = "With all that the command started; times and memory of what it waited for.";
  if (!usage) note += " The command was still running at the end.";
  note += whyNotCounted(counters_);
  if (!energy) note += " The energy of packages was not collected.";
  pwr::TableBuilder table(containerId_, 0, "Command Summary", note);
  table.column("Command");
  table.column("Value");
  CommandRows rows(table);
  addUsage(rows, usage);
  addCounters(rows, counters_);
  rows.add(
      "Energy of Packages (J)",
      energy ? std::optional(static_cast<double>(*energy) / kMicrojoulesPerJoule) : std::nullopt);
  if (usage) {
    rows.add("Exit Status", std::optional(command_->exitStatus()));
  } else {
    rows.add("Exit Status", "still running");
  }
  table.deliver([&](const pwr::TableMessage& message) { sink.table(message); });
}

}  // namespace tavrin
