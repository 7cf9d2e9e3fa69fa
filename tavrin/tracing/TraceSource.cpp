#include "tavrin/tracing/TraceSource.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/Refusals.h"
#include "tavrin/decoding/EventDecoder.h"
#include "tavrin/decoding/EventFormat.h"
#include "tavrin/tracing/CpuBuffer.h"
#include "tavrin/tracing/TraceInstance.h"

namespace tavrin {

namespace {

constexpr const char* kTracefs = "/sys/kernel/tracing";
constexpr const char* kClock = "mono_raw";
/// Of each CPU: what 100,000 events a second of one CPU fill in a second and more.
constexpr unsigned long long kBufferKilobytes = 8192;
/// All buffers together take this part of the memory at most.
constexpr unsigned long long kPartOfMemory = 32;

std::string textOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string formatFile(const std::string& tracefs, const KnownEvent& event) {
  return tracefs + "/events/" + event.system + "/" + event.name + "/format";
}

std::string nameOf(const KnownEvent& event) {
  return std::string(event.system) + ":" + event.name;
}

/// The folder of tracefs; "" without one. Looked for once: where the user may not look into it, the
/// library would do so each time, and forget the last one without freeing it.
const std::string& tracefsFolder() {
  static const std::string kFolder = [] {
    trace_api_quiet();
    const char* const folder = trace_api_folder();
    return std::string(folder == nullptr ? "" : folder);
  }();
  return kFolder;
}

/// The number behind "key: " in the text of a CPU's statistics.
unsigned long long statistic(const std::string& text, const std::string& key) {
  unsigned long long number = 0;
  const std::size_t line = text.find(key + ": ");
  if (line == std::string::npos) return 0;
  const char* const start = text.data() + line + key.size() + 2;
  std::from_chars(start, text.data() + text.size(), number);
  return number;
}

unsigned long long bufferKilobytes(long cpus) {
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long pageBytes = sysconf(_SC_PAGESIZE);
  if (pages <= 0 || pageBytes <= 0 || cpus <= 0) return kBufferKilobytes;
  const auto memory =
      static_cast<unsigned long long>(pages) / 1024 * static_cast<unsigned long long>(pageBytes);
  const auto share = memory / kPartOfMemory / static_cast<unsigned long long>(cpus);
  return std::clamp(share, 64ULL, kBufferKilobytes);
}

}  // namespace

struct TraceSource::State {
  explicit State(const std::string& folder) : tracefs(folder), instance(folder) {}

  void enable(const std::vector<EventGroup>& groups);
  void require(int status, const std::string& what);

  const std::string tracefs;
  TraceInstance instance;
  EventDecoder decoder;
  std::vector<CpuBuffer> buffers;
  std::vector<unsigned int> cpus;   // of the buffers
  std::vector<CpuBuffer*> waiting;  // those with an event, the earliest first (a heap)
};

TraceSource::TraceSource() = default;

TraceSource::~TraceSource() {
  if (state_ == nullptr) return;
  const int cause = state_->instance.remove();
  if (cause != 0) {
    warn("cannot remove the trace instance " + state_->instance.name() + ": " +
         std::strerror(cause));
  }
}

std::string TraceSource::whyAbsent(EventGroup group) {
  const std::string& tracefs = tracefsFolder();
  if (tracefs.empty()) {
    if (access(kTracefs, F_OK) != 0) return "this kernel has no tracefs";
    Refusals::note("tracefs", EPERM);
    return "tracefs is not mounted, and cannot be";
  }
  // By the rights that the process has, with its capabilities; access(2) asks for the real user's.
  const std::string instances = tracefs + "/instances";
  if (faccessat(AT_FDCWD, instances.c_str(), R_OK | W_OK | X_OK, AT_EACCESS) != 0) {
    const int error = errno;
    Refusals::note(instances, error);
    return "no permission to trace the kernel: " + instances + ": " + std::strerror(error);
  }
  std::string missing;
  for (const KnownEvent& event : knownEvents()) {
    if (event.group != group) continue;
    const std::string format = formatFile(tracefs, event);
    if (faccessat(AT_FDCWD, format.c_str(), R_OK, AT_EACCESS) == 0) return {};
    missing += (missing.empty() ? "" : ", ") + nameOf(event);
  }
  return "this kernel does not have " + missing;
}

void TraceSource::open(const std::vector<EventGroup>& groups) {
  state_ = std::make_unique<State>(tracefsFolder());
  State& state = *state_;
  state.require(state.instance.write("tracing_on", "0"), "stop it");
  state.require(state.instance.write("trace_clock", kClock),
                std::string("set the clock ") + kClock);
  // It would remember the name of every task that runs: the events have them.
  state.instance.write("options/record-cmd", "0");
  state.require(
      state.instance.write("buffer_size_kb",
                           std::to_string(bufferKilobytes(sysconf(_SC_NPROCESSORS_CONF)))),
      "make room for events");
  state.enable(groups);
}

void TraceSource::State::require(int status, const std::string& what) {
  if (status == 0) return;
  throw CommandError(kExitIncomplete, "cannot trace the kernel: cannot " + what + " in " +
                                          instance.path("") + ": " + std::strerror(errno));
}

/// An event that this kernel does not have, or has with other fields, is left out.
void TraceSource::State::enable(const std::vector<EventGroup>& groups) {
  for (const KnownEvent& event : knownEvents()) {
    if (std::ranges::count(groups, event.group) == 0) continue;
    const std::string text = textOf(formatFile(tracefs, event));
    if (text.empty()) continue;
    const auto format = EventFormat::parse(text, sizeof(long));
    if (!format || decoder.add(event, *format) != 0) {
      warn("the event " + nameOf(event) + " of this kernel is unlike the known one; left out");
      continue;
    }
    require(instance.enable(event.system, event.name), "enable the event " + nameOf(event));
  }
}

int TraceSource::addCpu(unsigned int cpu) {
  State& state = *state_;
  if (std::ranges::count(state.cpus, cpu) > 0) return 0;
  const int descriptor = state.instance.openBuffer(cpu);
  if (descriptor < 0) return errno;
  state.buffers.emplace_back(cpu, descriptor);
  state.cpus.push_back(cpu);
  return 0;
}

void TraceSource::begin() {
  state_->require(state_->instance.write("tracing_on", "1"), "start it");
}

void TraceSource::end() {
  if (textOf(state_->instance.path("tracing_on")).starts_with('0')) {
    warn("somebody has stopped the kernel's tracing: the events since then are missing");
  }
  if (state_->instance.write("tracing_on", "0") != 0) warn("cannot stop the kernel's tracing");
}

bool TraceSource::take(unsigned long long time, std::size_t most, const Taker& taker) {
  State& state = *state_;
  const auto isLater = [](const CpuBuffer* one, const CpuBuffer* other) {
    return one->event()->time > other->event()->time;
  };
  state.waiting.clear();
  for (CpuBuffer& buffer : state.buffers) {
    buffer.fill(state.decoder);
    if (buffer.event() != nullptr) state.waiting.push_back(&buffer);
  }
  std::ranges::make_heap(state.waiting, isLater);
  for (; !state.waiting.empty(); --most) {
    std::ranges::pop_heap(state.waiting, isLater);
    CpuBuffer& earliest = *state.waiting.back();
    if (earliest.event()->time > time) return false;
    if (most == 0) return true;
    taker(*earliest.event());
    earliest.next(state.decoder);
    if (earliest.event() == nullptr) {
      state.waiting.pop_back();
    } else {
      std::ranges::push_heap(state.waiting, isLater);
    }
  }
  return false;
}

std::vector<TraceSource::Counts> TraceSource::counts() const {
  std::vector<Counts> counts;
  if (state_ == nullptr) return counts;
  for (std::size_t i = 0; i < state_->buffers.size(); ++i) {
    const unsigned int cpu = state_->cpus[i];
    const std::string statistics =
        textOf(state_->instance.path("per_cpu/cpu" + std::to_string(cpu) + "/stats"));
    unsigned long long lost = 0;
    for (const char* key : {"overrun", "commit overrun", "dropped events"}) {
      lost += statistic(statistics, std::string("\n") + key);
    }
    // The kernel's counts may be gone with its buffer: what the pages told is the least.
    counts.push_back({.cpu = cpu,
                      .taken = state_->buffers[i].events(),
                      .lost = std::max(lost, state_->buffers[i].losses())});
  }
  return counts;
}

}  // namespace tavrin
