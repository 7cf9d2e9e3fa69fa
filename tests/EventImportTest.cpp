#include <gtest/gtest.h>

#include <algorithm>

#include "MessageText.h"
#include "TestSupport.h"
#include "tavrin/import/EventImport.h"

namespace tavrin {
namespace {

/// Delivers the events of a recording to `sink`.
void import(const std::vector<std::string>& patterns, const std::vector<KernelEvent>& events,
            pwr::MessageSink& sink, EventImport::Facts facts = {}) {
  // The sink may look at the system description for as long as it lives.
  static std::vector<std::unique_ptr<EventImport>> imports;
  imports.push_back(std::make_unique<EventImport>(patterns, sink));
  EventImport& made = *imports.back();
  made.describe(std::move(facts));
  for (const KernelEvent& event : events) made.add(event);
  made.finish();
}

const EventField kWakeupFields[] = {{"pid", 7LL}};

std::vector<KernelEvent> someEvents() {
  return {
      {0, 1, LostEvents{.count = 5}},
      {100, 0, IdleEvent{0, 2}, "cpu_idle", "power"},
      {110, 1, OtherEvent{kWakeupFields}, "sched_wakeup", "sched"},
      {120, 1, OtherEvent{.fields = {}, .text = "hello"}, "print", "ftrace"},
      {130, 0, IdleEvent{0, IdleEvent::kLeft}, "cpu_idle", "power"},
      {140, 1, OtherEvent{kWakeupFields}, "sched_wakeup", "sched"},
      {150, 0, LostEvents{}},
      {160, 1, OtherEvent{kWakeupFields}, "sched_waking", "sched"},
  };
}

TEST(EventImport, DescribesWhatThereIsWhenItComes) {
  const LogCapture log;
  MessageText sink;
  import({}, someEvents(), sink);
  EXPECT_EQ(sink.lines,
            "system from 100\n"
            "container cstate-trace\n"
            "CPU Idle State CPU0@100+30 state2\n"
            "CPU Idle State CPU0@130+20 Active\n"
            "container recording\n"
            "Recording Summary: Events | cpu_idle | 2 | 0 | 2 | 0\n"
            "Recording Summary: Events | sched_wakeup | 2 | 2 | 0 | 2\n"
            "Recording Summary: Events | print | 1 | 1 | 0 | 1\n"
            "Recording Summary: Events | sched_waking | 1 | 1 | 0 | 1\n");
  EXPECT_NE(log.all().find("4 events of 3 names are left out: sched_wakeup (2), print (1), "
                           "sched_waking (1); --events PATTERN makes metrics of them"),
            std::string::npos)
      << log.all();
}

TEST(EventImport, TakesTheEventsThatAreAskedFor) {
  struct Case {
    std::vector<std::string> patterns;
    std::vector<std::string> taken;
    std::string complaint;
  };
  const Case kCases[] = {
      {{"sched_wak?up"}, {"sched_wakeup"}, ""},
      {{"*"}, {"sched_wakeup", "print", "sched_waking"}, ""},
      {{"sched:*", "*ake*"}, {"sched_wakeup", "sched_waking"}, ""},
      {{"*ing", "ftrace:p*t*"}, {"print", "sched_waking"}, ""},
      {{"sched", "print"}, {"print"}, "no event of the recording matches 'sched'"},
      {{"power:sched*", "cpu_idle"}, {}, "no event of the recording matches 'power:sched*'"},
  };
  for (const Case& one : kCases) {
    SCOPED_TRACE(one.patterns.front());
    const LogCapture log;
    MessageText sink;
    import(one.patterns, someEvents(), sink);
    for (const char* const name : {"sched_wakeup", "print", "sched_waking"}) {
      const bool isTaken = sink.lines.find("\n" + std::string(name) + " CPU1@") < sink.lines.size();
      EXPECT_EQ(isTaken, std::ranges::count(one.taken, name) == 1) << name << "\n" << sink.lines;
    }
    const std::string complaints = log.all().find("matches") < log.all().size() ? log.all() : "";
    EXPECT_NE(complaints.find(one.complaint), std::string::npos) << log.all();
    EXPECT_EQ(complaints.empty(), one.complaint.empty()) << log.all();
  }
}

TEST(EventImport, CompletesTheSystemDescription) {
  const LogCapture log;
  MessageText sink;
  EventImport::Facts facts;
  facts.system.hostName = "board";
  facts.cpus = 3;
  facts.clock = "mono";
  std::vector<KernelEvent> events = someEvents();
  events.push_back({155, 0, ForkEvent{1, 9, "sh"}, "sched_process_fork", "sched"});
  import({}, events, sink, std::move(facts));
  ASSERT_NE(sink.given, nullptr);
  const pwr::SystemDescription& system = sink.given->getDescription();
  EXPECT_EQ(system.hostName, "board");
  EXPECT_EQ(system.osName, "Linux");
  EXPECT_EQ(system.timestampClockFrequencyMHz, 1000U);
  EXPECT_EQ(system.collectionStartTimestamp, 100U);
  EXPECT_EQ(system.collectionStopTimestamp, 160U);
  EXPECT_DOUBLE_EQ(system.collectionDurationSec, 60e-9);
  EXPECT_EQ(system.topology.getNumThreads(), 3U);
  ASSERT_EQ(system.infoValues.size(), 1U);
  EXPECT_EQ(system.infoValues[0].getValueDesc(), "mono");
  ASSERT_EQ(system.lostEvents.size(), 1U);
  EXPECT_EQ(system.lostEvents[0].source, "the recording (CPU0: at least 1, CPU1: 5)");
  EXPECT_EQ(system.lostEvents[0].count, 6U);
  ASSERT_EQ(system.processes.size(), 1U);
  EXPECT_EQ(system.processes[0].getStartTime(), 160U);  // it came late
  EXPECT_NE(log.all().find("1 events are older than the one before"), std::string::npos);
}

TEST(EventImport, TakesARecordingWithoutEvents) {
  MessageText sink;
  import({}, {{ 0, 0, LostEvents {} }}, sink);
  EXPECT_EQ(sink.lines, "system from 0\ncontainer recording\n");
}

TEST(EventImport, BoundsTheNamesThatItCounts) {
  const LogCapture log;
  MessageText sink;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < EventCounts::kMostNames + 9; ++i) {
    names.push_back("name" + std::to_string(i));
  }
  std::vector<KernelEvent> events;
  events.reserve(names.size() + 1);
  for (const std::string& name : names) events.push_back({1, 0, OtherEvent{}, name});
  events.push_back({1, 64, OtherEvent{}, "name0"});
  import({}, events, sink);
  EXPECT_NE(sink.lines.find("Events | others | 9 | 9\n"), std::string::npos);
  EXPECT_NE(sink.lines.find("Events | name0 | 2 | 2\n"), std::string::npos);
  EXPECT_EQ(std::ranges::count(log.all(), '\n'), 1) << log.all();
}

}  // namespace
}  // namespace tavrin
