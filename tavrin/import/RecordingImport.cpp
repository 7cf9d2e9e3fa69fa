#include "tavrin/import/RecordingImport.h"

#include <set>

#include "tavrin/import/MergedEvents.h"
#include "tavrin/import/RecordedEvents.h"
#include "tavrin/import/RecordingReader.h"

namespace tavrin {

namespace {

/// So many events come between two looks for a stop.
constexpr unsigned int kEventsUntilLook = 4096;

void addInfo(pwr::SystemDescription& system, const char* name, const std::string& value) {
  if (!value.empty()) system.infoValues.emplace_back(name, 0U, value);
}

/// "Linux host 6.1.0 x86_64"
void describeMachine(const std::string& machine, pwr::SystemDescription& system) {
  std::vector<std::string> words;
  for (std::size_t begin = 0; begin < machine.size();) {
    const std::size_t end = std::min(machine.find(' ', begin), machine.size());
    words.push_back(machine.substr(begin, end - begin));
    begin = end + 1;
  }
  if (words.size() < 4) return;
  system.osName = words[0];
  system.hostName = words[1];
  // "6.1.0-rc1" is a version and more.
  system.osVersion = words[2].substr(0, words[2].find_first_not_of("0123456789."));
  system.osType = words.back();
}

}  // namespace

RecordingImport::RecordingImport(const std::string& path, std::vector<std::string> patterns,
                                 pwr::MessageSink& sink, std::function<bool()> isStopped)
    : path_(path),
      isStopped_(std::move(isStopped)),
      file_(path),
      recording_(readRecording(file_)),
      import_(std::move(patterns), sink) {}

int RecordingImport::replay(std::string& error) {
  if (recording_.buffers.empty() && !recording_.fault.empty()) {
    return status({recording_.fault}, error);
  }
  tellGaps();
  MergedEvents events(file_, recording_);
  RecordedEvents decoder(
      recording_, [this](const KernelEvent& kind) { return import_.isWanted(kind); },
      [this] { return readSymbols(file_, recording_); });
  EventImport::Facts known = facts();
  if (recording_.hasTimeOfDay && events.event() != nullptr) {
    known.system.collectionStartTimeNs = events.time();
  }
  import_.describe(std::move(known));
  deliver(events, decoder);
  import_.finish();
  if (decoder.unknown() > 0) {
    warnings_.push_back(path_ + ": " + std::to_string(decoder.unknown()) +
                        " events are of kinds that it does not describe; they are left out");
  }
  std::vector<std::string> faults = events.faults();
  if (!recording_.fault.empty()) faults.insert(faults.begin(), recording_.fault);
  return status(faults, error);
}

void RecordingImport::deliver(MergedEvents& events, RecordedEvents& decoder) {
  unsigned int untilLook = kEventsUntilLook;
  for (; events.event() != nullptr; events.next()) {
    if (--untilLook == 0) {
      if (isStopped_()) return;
      untilLook = kEventsUntilLook;
    }
    const CpuEvents& present = *events.event();
    if (present.isLoss()) {
      import_.add({.time = events.time(),
                   .cpu = present.cpu(),
                   .what = LostEvents{.count = present.lost()}});
    } else if (KernelEvent* const event = decoder.decode(present.event())) {
      event->time = events.time();
      event->cpu = present.cpu();
      import_.add(*event);
    }
  }
}

EventImport::Facts RecordingImport::facts() const {
  EventImport::Facts facts{.cpus = recording_.cpus, .clock = recording_.clock};
  for (const RecordedBuffer& buffer : recording_.buffers) {
    if (facts.clock.empty()) facts.clock = buffer.clock;
  }
  pwr::SystemDescription& system = facts.system;
  describeMachine(recording_.machine, system);
  addInfo(system, "Recorded by",
          recording_.tool.empty() ? std::string() : "trace-cmd " + recording_.tool);
  addInfo(system, "Recording version", std::to_string(recording_.version));
  if (recording_.traceId) addInfo(system, "Trace ID", std::to_string(*recording_.traceId));
  for (const RecordedBuffer& buffer : recording_.buffers) {
    addInfo(system, "Trace instance", buffer.name);
  }
  for (const std::string& hook : recording_.hooks) addInfo(system, "Event hook", hook);
  for (const RecordedGuest& guest : recording_.guests) {
    addInfo(system, "Traced guest",
            guest.name + " (" + std::to_string(guest.cpus) + " CPUs, trace ID " +
                std::to_string(guest.traceId) + ")");
  }
  return facts;
}

/// What the recording has that is not told, or not what it seems.
void RecordingImport::tellGaps() {
  std::set<std::string> clocks;
  for (const RecordedBuffer& buffer : recording_.buffers) {
    if (!buffer.clock.empty() && !buffer.cpus.empty()) clocks.insert(buffer.clock);
  }
  if (clocks.size() > 1) {
    warnings_.push_back(path_ + ": its buffers have times of different clocks");
  }
  const std::string clock =
      recording_.clock.empty() && !clocks.empty() ? *clocks.begin() : recording_.clock;
  const bool isCount = clock == "counter" || (clock.ends_with("-tsc") && !recording_.scale);
  if (isCount) {
    warnings_.push_back(path_ + ": its clock '" + clock +
                        "' does not count nanoseconds, which its times are taken for");
  }
  for (const RecordedGuest& guest : recording_.guests) {
    warnings_.push_back(path_ + ": the events of the guest '" + guest.name +
                        "' are in a recording of their own, which is not read");
  }
  if (recording_.hasTimeShifts) {
    warnings_.push_back(path_ +
                        ": its times are those of a guest; they are not turned into those "
                        "of its host");
  }
}

int RecordingImport::status(const std::vector<std::string>& faults, std::string& error) const {
  if (faults.empty()) return 0;
  error = path_ + ": " + faults.front();
  if (faults.size() > 1) {
    error += " (and " + std::to_string(faults.size() - 1) + " more places)";
  }
  return 1;
}

}  // namespace tavrin
