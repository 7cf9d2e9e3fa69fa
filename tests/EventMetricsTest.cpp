#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "MessageText.h"
#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/summary/MetricTotals.h"
#include "tavrin/events/EventMetrics.h"
#include "tavrin/events/OtherGroup.h"

namespace tavrin {
namespace {

EventFacts twoCpus() {
  EventFacts facts;
  for (const unsigned int cpu : {0U, 1U}) {
    facts.cpus[cpu] = pwr::createEntity({.name = "CPU" + std::to_string(cpu), .level = "Thread"});
    facts.idleStates[cpu] = {"POLL", "C6"};
  }
  facts.processOf = [](int task) { return task == 71 ? std::optional(70) : std::nullopt; };
  return facts;
}

struct Scenario {
  const char* name;
  EventGroup group;
  std::vector<KernelEvent> events;
  unsigned long long stop;
  const char* expected;
};

constexpr unsigned int kLeft = IdleEvent::kLeft;

std::vector<Scenario> cpuScenarios() {
  using enum EventGroup;
  return {
      {"states of CPUs by their names, each told when it is over; the last ones end with the run",
       Idle,
       {{10, 0, IdleEvent{0, 1}}, {15, 1, IdleEvent{1, 0}}, {40, 0, IdleEvent{0, kLeft}}},
       50,
       "CPU Idle State CPU0@10+30 C6\n"
       "CPU Idle State CPU0@40+10 Active\nCPU Idle State CPU1@15+35 POLL\n"},
      {"a CPU that leaves without having entered was in an unknown state before",
       Idle,
       {{20, 0, IdleEvent{0, kLeft}}, {30, 0, IdleEvent{0, 1}}},
       30,
       "CPU Idle State CPU0@20+10 Active\nCPU Idle State CPU0@30+1 C6\n"},
      {"a loss ends the state of its CPU, which is unknown until its next event",
       Idle,
       {{10, 0, IdleEvent{0, 1}},
        {10, 1, IdleEvent{1, 1}},
        {20, 0, LostEvents{}},
        {900, 0, IdleEvent{0, kLeft}}},
       1000,
       "CPU Idle State CPU0@10+10 C6\n"
       "CPU Idle State CPU0@900+100 Active\nCPU Idle State CPU1@10+990 C6\n"},
      {"a CPU and a state that nobody told of; a number that no CPU has is nothing",
       Idle,
       {{10, 9, IdleEvent{9, 4}}, {11, 0, IdleEvent{4000000000U, 0}}},
       20,
       "CPU Idle State CPU9@10+10 state4\n"},
      {"events that come too late count as of the last time; two of one time are told apart",
       Idle,
       {{10, 0, IdleEvent{0, 1}}, {8, 0, IdleEvent{0, kLeft}}, {10, 0, IdleEvent{0, 0}}},
       20,
       "CPU Idle State CPU0@10+1 C6\nCPU Idle State CPU0@11+1 Active\n"
       "CPU Idle State CPU0@12+8 POLL\n"},
      {"a policy's frequency is that of its CPUs, whoever changes it; a loss may be of any",
       Frequency,
       {{10, 0, FrequencyEvent{0, 800000}},
        {10, 0, FrequencyEvent{1, 800000}},
        {30, 0, FrequencyEvent{1, 2400500}},
        {40, 0, LostEvents{}}},
       50,
       "CPU Frequency Changes CPU1@10+20 800\nCPU Frequency Changes CPU0@10+30 800\n"
       "CPU Frequency Changes CPU1@30+10 2400.5\n"},
      {"who runs, with the process where it is known; idle is nobody's",
       Schedule,
       {{10, 0, SwitchEvent{71, "worker"}},
        {20, 0, SwitchEvent{0, "swapper/0"}},
        {25, 1, SwitchEvent{80, "a\nb"}},
        {30, 0, SwitchEvent{71, "renamed"}}},
       40,
       "Running Task CPU0@10+10 worker PID=70 TID=71\nRunning Task CPU0@20+10 idle\n"
       "Running Task CPU0@30+10 renamed PID=70 TID=71\n"
       "Running Task CPU1@25+15 a\\x0ab TID=80\n"},
  };
}

std::vector<Scenario> otherScenarios() {
  using enum EventGroup;
  return {
      {"processes and threads come and go; a number is used again; an unknown one is a process",
       Process,
       {{10, 0, NewTaskEvent{70, 75, true}},
        {11, 0, ForkEvent{70, 75, "pool"}},
        {12, 1, NewTaskEvent{75, 76, false}},
        {13, 1, ForkEvent{75, 76, "sh"}},
        {14, 1, ExecEvent{76, "/bin/true"}},
        {15, 1, ExitEvent{76, "true"}},
        {16, 0, ExitEvent{75, "pool"}},
        {17, 0, ForkEvent{70, 75, "again"}},
        {18, 0, ExitEvent{71, "old thread"}},
        {19, 0, ExitEvent{99, "stranger"}}},
       20,
       "Process Events @11 thread start PID=70 TID=75 Name=pool\n"
       "Process Events @13 fork PID=76 TID=76 Name=sh\n"
       "Process Events @14 exec PID=76 TID=76 Name=/bin/true\n"
       "Process Events @15 exit PID=76 TID=76 Name=true\n"
       "Process Events @16 thread exit PID=70 TID=75 Name=pool\n"
       "Process Events @17 fork PID=75 TID=75 Name=again\n"
       "Process Events @18 thread exit PID=70 TID=71 Name=old thread\n"
       "Process Events @19 exit TID=99 Name=stranger\n"},
      {"wakeup sources, by name; all are unknown after a loss",
       Wakeup,
       {{10, 0, WakeupSourceEvent{"alarm timer", true}},
        {20, 1, WakeupSourceEvent{"alarm timer", false}},
        {25, 1, LostEvents{}},
        {30, 0, WakeupSourceEvent{"rtc", true}}},
       40,
       "Wakeup Source State alarm timer@10+10 active\n"
       "Wakeup Source State alarm timer@20+5 inactive\n"
       "Wakeup Source State rtc@30+10 active\n"},
      {"devices: requests are events, statuses states, whatever their number",
       DevicePower,
       {{10, 0, DeviceRequestEvent{"0000:00:1f.3", "suspend"}},
        {11, 0, DeviceStatusEvent{"0000:00:1f.3", 3}},
        {12, 0, DeviceStatusEvent{"0000:00:1f.3", 2}},
        {15, 0, DeviceStatusEvent{"0000:00:1f.3", -7}}},
       20,
       "Runtime PM Requests 0000:00:1f.3@10 suspend\n"
       "Runtime PM Status 0000:00:1f.3@11+1 suspending\n"
       "Runtime PM Status 0000:00:1f.3@12+3 suspended\n"
       "Runtime PM Status 0000:00:1f.3@15+5 status -7\n"},
      {"callbacks of devices last until they return; what returns without having begun is nothing",
       DevicePower,
       {{10, 0, DeviceCallbackEvent{"usb1", true, "noirq bus", "suspend"}},
        {12, 1, DeviceCallbackEvent{"nvme0", false}},
        {14, 1, DeviceCallbackEvent{"usb1", false}},
        {20, 0, DeviceCallbackEvent{"usb1", true, "bus", "resume"}}},
       25,
       "Device PM Callbacks usb1@10+4 noirq bus suspend\n"
       "Device PM Callbacks usb1@20+5 bus resume\n"},
      {"regulators",
       Regulator,
       {{10, 0, RegulatorEvent{"vdd", "enabling"}}, {12, 0, RegulatorEvent{"vdd", "enabled"}}},
       20,
       "Regulator State vdd@10+2 enabling\nRegulator State vdd@12+8 enabled\n"},
      {"clocks; all are unknown after a loss",
       Clock,
       {{10, 0, ClockEvent{"uart", true}},
        {11, 0, ClockRateEvent{"uart", 48500000}},
        {15, 1, LostEvents{}},
        {18, 0, ClockEvent{"uart", false}}},
       20,
       "Clock State uart@10+5 enabled\nClock Rate uart@11+4 48.5\n"
       "Clock State uart@18+2 disabled\n"},
      {"zones and cooling devices",
       Thermal,
       {{10, 0, TemperatureEvent{"x86_pkg_temp", 55500}},
        {11, 0, TripEvent{"x86_pkg_temp", 1}},
        {12, 0, CoolingEvent{"Processor", 3}},
        {20, 0, CoolingEvent{"Processor", 0}}},
       30,
       "Zone Trips x86_pkg_temp@11 1\nCooling State Processor@12+8 3\n"
       "Zone Temperature x86_pkg_temp@10+20 55.5\nCooling State Processor@20+10 0\n"},
  };
}

void check(const Scenario& scenario) {
  SCOPED_TRACE(scenario.name);
  EventMetrics metrics(twoCpus());
  const auto described = metrics.describe(scenario.group, 3, "some-trace");
  for (const pwr::MetricDescription* metric : described) {
    EXPECT_EQ(metric->containerId, 3U);
    EXPECT_EQ(metric->featureTag, "some-trace");
  }
  MessageText sink;
  for (const KernelEvent& event : scenario.events) metrics.add(event, sink);
  metrics.finish(scenario.stop, sink);
  EXPECT_EQ(sink.lines, scenario.expected);
}

TEST(EventMetrics, TurnsEventsIntoStatesAndEvents) {
  for (const Scenario& scenario : cpuScenarios()) check(scenario);
  for (const Scenario& scenario : otherScenarios()) check(scenario);
}

/// Adds up what is delivered.
class TotalsSink : public MessageText {
 public:
  explicit TotalsSink(const pwr::MetricDescription* metric) : totals(metric) {}
  void metric(pwr::Metric& metric) override { totals.add(metric.getData()); }
  pwr::MetricTotals totals;
};

TEST(EventMetrics, ACpuThatIsGoneHasNoStateUntilItsNextEvent) {
  EventMetrics metrics(twoCpus());
  metrics.describe(EventGroup::Schedule, 1, "sched-trace");
  MessageText sink;
  metrics.add({10, 0, SwitchEvent{0, "swapper/0"}}, sink);
  metrics.add({10, 1, SwitchEvent{0, "swapper/1"}}, sink);
  metrics.forgetCpu(1, 30, sink);
  metrics.forgetCpu(7, 30, sink);
  metrics.add({80, 1, SwitchEvent{71, "back"}}, sink);
  metrics.finish(100, sink);
  EXPECT_EQ(sink.lines,
            "Running Task CPU1@10+20 idle\nRunning Task CPU0@10+90 idle\n"
            "Running Task CPU1@80+20 back PID=70 TID=71\n");
}

TEST(EventMetrics, ACpuThatComesIsWhatItIsToldToBe) {
  EventMetrics metrics(twoCpus());
  metrics.describe(EventGroup::Idle, 1, "cstate-trace");
  MessageText sink;
  metrics.addCpu(8, nullptr, {});
  metrics.addCpu(8, pwr::createEntity({.name = "new CPU8", .level = "Thread"}), {});
  metrics.add({10, 8, IdleEvent{8, 1}}, sink);
  metrics.addCpu(8, pwr::createEntity({.name = "another CPU8", .level = "Thread"}), {"C1", "C9"});
  metrics.add({20, 8, IdleEvent{8, 1}}, sink);
  metrics.finish(30, sink);
  EXPECT_EQ(sink.lines, "CPU Idle State new CPU8@10+10 state1\nCPU Idle State new CPU8@20+10 C9\n");
}

TEST(EventMetrics, LeavesGroupsAloneThatNobodyWants) {
  EventMetrics metrics(twoCpus());
  metrics.describe(EventGroup::Idle, 1, "cstate-trace");
  MessageText sink;
  metrics.add({10, 0, SwitchEvent{5, "five"}}, sink);
  metrics.add({20, 0, WakeupSourceEvent{"rtc", true}}, sink);
  metrics.finish(30, sink);
  EXPECT_EQ(sink.lines, "");
}

OtherEvent other(const std::vector<EventField>& fields, std::string_view text = {}) {
  return {.fields = fields, .text = text, .task = 71, .taskName = "worker"};
}

TEST(EventMetrics, OtherEventsHaveMetricsOfTheirNames) {
  EventMetrics metrics(twoCpus());
  EXPECT_TRUE(metrics.describe(EventGroup::Other, 4, "event-trace").empty());
  MessageText sink;
  const std::vector<EventField> first{{"pid", 5LL}, {"comm", "a\nb"}};
  const std::vector<EventField> second{{"comm", "c"}, {"pid", 1ULL << 63U}, {"extra", 7LL}};
  metrics.add({10, 0, other(first), "sched_wakeup"}, sink);
  metrics.add({11, 1, other(second), "sched_wakeup"}, sink);
  metrics.add({12, 1, LostEvents{}}, sink);
  metrics.add({13, 1, other({}, "B|7|draw"), "print"}, sink);
  metrics.add({14, 1, OtherEvent{}, "print"}, sink);
  metrics.tellProcess(71, 69);
  metrics.add({15, 9, other({}, "E"), "print"}, sink);
  EXPECT_EQ(sink.lines,
            "sched_wakeup CPU0@10 sched_wakeup PID=70 TID=71 Task=worker pid=5 comm=a\\x0ab\n"
            "sched_wakeup CPU1@11 sched_wakeup PID=70 TID=71 Task=worker comm=c"
            " +pid=9223372036854775808 +extra=7\n"
            "print CPU1@13 B|7|draw PID=70 TID=71 Task=worker\n"
            "print CPU1@14 print\n"
            "print CPU9@15 E PID=69 TID=71 Task=worker\n");
}

TEST(EventMetrics, BoundsMetricsAndFieldsOfOtherEvents) {
  EventMetrics metrics(twoCpus());
  metrics.describe(EventGroup::Other, 1, "event-trace");
  const LogCapture log;
  MessageText sink;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < OtherGroup::kMostFields + 9; ++i) names.push_back(std::to_string(i));
  std::vector<EventField> fields;
  fields.reserve(names.size());
  for (const std::string& name : names) fields.push_back({name, 1LL});
  metrics.add({1, 0, other(fields), "wide"}, sink);
  EXPECT_EQ(std::ranges::count(sink.lines, '='), 3 + static_cast<long>(OtherGroup::kMostFields));
  for (std::size_t i = 0; i < OtherGroup::kMostMetrics + 9; ++i) {
    const std::string name = "event" + std::to_string(i);
    metrics.add({2, 0, OtherEvent{}, name}, sink);
  }
  EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(sink.lines, '\n')),
            OtherGroup::kMostMetrics);
  EXPECT_EQ(std::ranges::count(log.all(), '\n'), 2) << log.all();
}

TEST(EventMetrics, TellsLifetimesOfWhatBeginsAndEnds) {
  ProcessTable processes;
  EventFacts facts = twoCpus();
  facts.processes = &processes;
  EventMetrics metrics(std::move(facts));
  metrics.describe(EventGroup::Process, 1, "process-trace");
  MessageText sink;
  metrics.add({100, 0, ForkEvent{71, 200, "sh"}}, sink);
  metrics.add({200, 0, ExecEvent{200, "/usr/bin/a-program-of-a-long-name"}}, sink);
  metrics.add({300, 0, NewTaskEvent{200, 201, true}}, sink);
  metrics.add({301, 0, ForkEvent{200, 201, "pool"}}, sink);
  metrics.add({400, 1, ExitEvent{200, "a-program-of-a-"}}, sink);  // the main thread first
  metrics.add({450, 0, ExitEvent{201, "pool"}}, sink);
  metrics.finish(500, sink);
  pwr::SystemDescription system;
  processes.describe(system);
  ASSERT_EQ(system.processes.size(), 1U);
  const pwr::Process& process = system.processes.front();
  EXPECT_EQ(process.getPid(), 200);
  EXPECT_EQ(process.getParentPid(), 70);  // not the thread that did it
  EXPECT_EQ(process.getPath(), "/usr/bin/a-program-of-a-long-name");
  EXPECT_EQ(process.getName(), "a-program-of-a-");
  EXPECT_EQ(process.getStartTime(), 100U);
  EXPECT_EQ(process.getEndTime(), 450U);
  ASSERT_EQ(system.threads.size(), 2U);
  EXPECT_EQ(system.threads[1].getName(), "pool");
  EXPECT_EQ(system.threads[1].getEndTime(), 450U);
}

TEST(EventMetrics, StatesOfIdleCpusAddUpToTheTimeThatIsKnown) {
  EventMetrics metrics(twoCpus());
  TotalsSink sink(metrics.describe(EventGroup::Idle, 1, "cstate-trace").front());
  unsigned long long time = 1000;
  for (unsigned int i = 0; i < 100; ++i, time += 10) {
    metrics.add({time, 0, IdleEvent{0, i % 2 == 0 ? 1U : kLeft}}, sink);
    if (i == 49) metrics.add({time + 4, 0, LostEvents{}}, sink);
  }
  metrics.finish(time, sink);
  unsigned long long known = 0;
  unsigned long long count = 0;
  for (const pwr::SeriesTotals& series : sink.totals.series()) {
    known += series.durationTicks;
    count += series.count;
  }
  EXPECT_EQ(known, 1000U - 6U);
  EXPECT_EQ(count, 100U);
  EXPECT_TRUE(sink.totals.hasStates());
}

TEST(EventMetrics, KeepsBoundedMemoryOfVeryManyTasksAndNames) {
  EventMetrics metrics(twoCpus());
  TotalsSink sink(metrics.describe(EventGroup::Schedule, 1, "sched-trace").front());
  constexpr int kTasks = static_cast<int>(TaskTable::kMostTasks) + 10;
  for (int task = 1; task <= kTasks; ++task) {
    const std::string name = "task" + std::to_string(task);
    metrics.add({static_cast<unsigned long long>(task), 0, SwitchEvent{task, name}}, sink);
  }
  metrics.finish(kTasks + 1, sink);
  EXPECT_EQ(sink.totals.series().size(), TaskTable::kMostNames + 1);
  const pwr::SeriesTotals& last = sink.totals.series().back();
  EXPECT_EQ(last.value, "others");
  EXPECT_EQ(last.count, static_cast<unsigned long long>(kTasks) - TaskTable::kMostNames);
}

}  // namespace
}  // namespace tavrin
