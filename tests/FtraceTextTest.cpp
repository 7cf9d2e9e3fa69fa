#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "MessageText.h"
#include "TestSupport.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/import/FtraceImport.h"
#include "tavrin/import/Recognition.h"

namespace tavrin {
namespace {

/// What an import of the text gives; "system" and "container" lines and the table of events apart.
struct Imported {
  explicit Imported(const std::string& text, const std::vector<std::string>& patterns = {}) {
    folder.write("trace.txt", text);
    input = openInput(folder.path("trace.txt"), nullptr);
    try {
      import = openImport(*input, sink, {.events = patterns});
      status = import->replay(error);
      for (const std::string& warning : import->warnings()) warnings += warning + "\n";
    } catch (const CommandError& fault) {
      error = fault.what();
    }
    for (std::size_t at = 0; at < sink.lines.size();) {
      const std::size_t end = sink.lines.find('\n', at) + 1;
      const std::string line = sink.lines.substr(at, end - at);
      at = end;
      if (line.starts_with("system") || line.starts_with("container")) continue;
      (line.starts_with("Recording Summary") ? counts : samples) += line;
    }
    for (std::string* const told : {&error, &warnings}) {
      const std::string name = folder.path("trace.txt");
      for (std::size_t at; (at = told->find(name)) < told->size();)
        told->replace(at, name.size(), "T");
    }
  }

  TempFolder folder;
  LogCapture log;
  MessageText sink;
  std::unique_ptr<PeekedSource> input;
  std::unique_ptr<Import> import;
  int status = -1;
  std::string error;
  std::string warnings;
  std::string samples;
  std::string counts;
};

std::string importedLines(const std::string& text) {
  const Imported imported(text, {"*"});
  EXPECT_EQ(imported.status, 0) << imported.error;
  EXPECT_EQ(imported.warnings, "");
  return imported.samples;
}

TEST(FtraceText, ReadsTheColumnsOfAllPrinters) {
  const std::pair<const char*, const char*> kCases[] = {
      {"          <idle>-0     [002] d..2.  2084.021443: wake: a=1\n",
       "wake CPU2@2084021443000 wake TID=0 Task=<idle> a=1\n"},
      {"            bash-1977    (   1970) [000] ..... 17284.993652123: wake: a=1\n",
       "wake CPU0@17284993652123 wake PID=1970 TID=1977 Task=bash a=1\n"},
      {"           <...>-1977    (-----) [011] 17284.993652: wake:         a=1\n",
       "wake CPU11@17284993652000 wake TID=1977 a=1\n"},
      {"trace-cm-6244    5d..4. 162534.215742: wake: a=1\n",
       "wake CPU5@162534215742000 wake TID=6244 Task=trace-cm a=1\n"},
      {"     kworker/0:1H-123   [000] d..4 1.000000: wake: a=1\r\n",
       "wake CPU0@1000000000 wake TID=123 Task=kworker/0:1H a=1\n"},
      {"      my task-2-17-99    [000] dNh3.. 1.5: wake: a=1\n",
       "wake CPU0@1500000000 wake TID=99 Task=my task-2-17 a=1\n"},
      {"    a [1] b.c (x)-9     [127] 1.000001: wake:\n",
       "wake CPU127@1000001000 wake TID=9 Task=a [1] b.c (x)\n"},
      {"                 -9     [000] 1.000001: wake: b=-2 c=0x1F d=007 e=x f= g=-\n",
       "wake CPU0@1000001000 wake TID=9 b=-2 c=31 d=007 e=x f= g=-\n"},
      {"\xEF\xBB\xBF  bash-9 [000] 1.000001: do_sys_open.part.0: two words a=1\n",
       "do_sys_open.part.0 CPU0@1000001000 two words a=1 TID=9 Task=bash\n"},
      {"  bash-9 [000] 1.000001: sys_openat(dfd: 3)\n  bash-9 [000] 1.000002: sys_openat -> 0x3\n",
       "sys_openat CPU0@1000001000 (dfd: 3) TID=9 Task=bash\n"
       "sys_openat CPU0@1000002000 -> 0x3 TID=9 Task=bash\n"},
      {"  bash-9 [000] 1.000001: schedule <-do_idle\n",
       "function CPU0@1000001000 schedule <-do_idle TID=9 Task=bash\n"},
  };
  for (const auto& [text, expected] : kCases) EXPECT_EQ(importedLines(text), expected) << text;
}

/// As `cat trace` prints it, the event's name and what is behind it.
std::string at(int microsecond, const std::string& event, int task = 5) {
  std::string time = std::to_string(100 + microsecond);
  return "  sh-" + std::to_string(task) + " [001] d..2. 7.000" + time + ": " + event + "\n";
}

TEST(FtraceText, KnownEventsBecomeTheMetricsOfLiveTracing) {
  const std::pair<std::string, const char*> kCases[] = {
      {at(0, "cpu_idle: state=2 cpu_id=3") + at(1, "cpu_idle: state=4294967295 cpu_id=3"),
       "CPU Idle State CPU3@7000100000+1000 state2\nCPU Idle State CPU3@7000101000+1 Active\n"},
      {at(0, "cpu_frequency: state=600000 cpu_id=0"),
       "CPU Frequency Changes CPU0@7000100000+1 600\n"},
      {at(0,
          "sched_switch: prev_comm=a next_comm=b prev_pid=5 prev_prio=120 prev_state=R+ ==> "
          "next_comm=x next_pid=1 =[y next_pid=77 next_prio=120"),
       "Running Task CPU1@7000100000+1 x next_pid=1 =[y TID=77\n"},
      {at(0, "sched_switch: swapper/2:0 [120] R ==> a:1 [3]:77 [120]"),
       "Running Task CPU1@7000100000+1 a:1 [3] TID=77\n"},
      {at(0, "task_newtask: pid=77 comm=a clone_flags=x clone_flags=3d0f00 oom_score_adj=0") +
           at(1, "sched_process_fork: comm=a pid=5 pid=5 child_comm=pool 1 child_pid=77") +
           at(2, "sched_process_exec: filename=/bin/a pid=3 pid=78 old_pid=78") +
           at(3, "sched_process_exit: comm=x pid=1 pid=77 prio=120 group_dead=true"),
       "Process Events @7000101000 thread start PID=5 TID=77 Name=pool 1\n"
       "Process Events @7000102000 exec PID=78 TID=78 Name=/bin/a pid=3\n"
       "Process Events @7000103000 thread exit PID=5 TID=77 Name=x pid=1\n"},
      {at(0, "wakeup_source_activate: alarm state=1 x state=0x10001") +
           at(1, "wakeup_source_deactivate: alarm state=1 x state=0x10000"),
       "Wakeup Source State alarm state=1 x@7000100000+1000 active\n"
       "Wakeup Source State alarm state=1 x@7000101000+1 inactive\n"},
      {at(0, "rpm_resume: 1-1:1.0 flags-4 cnt-0  dep-0  auto-1 p-0 irq-0 child-0") +
           at(1, "rpm_status: 1-1:1.0 status=RPM_RESUMING"),
       "Runtime PM Requests 1-1:1.0@7000100000 resume\n"
       "Runtime PM Status 1-1:1.0@7000101000+1 resuming\n"},
      {at(0, "device_pm_callback_start: usb 1-1, parent: usb1, noirq bus [suspend]") +
           at(2, "device_pm_callback_end: usb 1-1, err=0"),
       "Device PM Callbacks 1-1@7000100000+2000 noirq bus suspend\n"},
      {at(0, "thermal_temperature: thermal_zone=a b id=0 temp_prev=1 temp=-500"),
       "Zone Temperature a b@7000100000+1 -0.5\n"},
      {at(0, "thermal_zone_trip: thermal_zone=cpu id=0 trip=1 trip_type=PASSIVE") +
           at(0, "cdev_update: type=cpufreq target=3"),
       "Zone Trips cpu@7000100000 1\nCooling State cpufreq@7000100000+1 3\n"},
      {at(0, "regulator_enable: name=vdd core") + at(3, "regulator_enable_complete: name=vdd core"),
       "Regulator State vdd core@7000100000+3000 enabling\n"
       "Regulator State vdd core@7000103000+1 enabled\n"},
      {at(0, "clk_enable_complete: uart") + at(0, "clk_set_rate_complete: uart 48000000") +
           at(0, "clock_set_rate: old state=5000000 cpu_id=1") +
           at(1, "clock_disable: old state=0 cpu_id=1"),
       "Clock State uart@7000100000+1000 enabled\nClock State old@7000101000+1 disabled\n"
       "Clock Rate uart@7000100000+1000 48\nClock Rate old@7000100000+1000 5\n"},
  };
  for (const auto& [text, expected] : kCases) EXPECT_EQ(importedLines(text), expected) << text;
}

TEST(FtraceText, TextMarksAreNoEventsOfWhatTheyImitate) {
  const std::string fake = "sched_switch: prev_comm=a ==> next_comm=b next_pid=7 next_prio=1";
  EXPECT_EQ(importedLines(at(0, "tracing_mark_write: " + fake) + at(1, "print: " + fake) +
                          at(2, "bprint: 0xc0: cpu_idle: state=1 cpu_id=0") +
                          at(3, "tracing_mark_write: sh-9 [000] 7.000: cpu_idle: state=1")),
            "tracing_mark_write CPU1@7000100000 " + fake +
                " TID=5 Task=sh\n"
                "print CPU1@7000101000 " +
                fake +
                " TID=5 Task=sh\n"
                "bprint CPU1@7000102000 0xc0: cpu_idle: state=1 cpu_id=0 TID=5 Task=sh\n"
                "tracing_mark_write CPU1@7000103000 sh-9 [000] 7.000: cpu_idle: state=1 TID=5 "
                "Task=sh\n");
}

TEST(FtraceText, TellsOnceWhatCannotBeUnderstood) {
  struct Case {
    const char* name;
    std::string text;
    const char* samples;
    const char* warnings;
  };
  const Case kCases[] = {
      {"lines that are no events", at(0, "wake: a=1") + "second line of a mark\n\n" + "1234 x\n",
       "wake CPU1@7000100000 wake TID=5 Task=sh a=1\n",
       "T:2: no event; 2 such lines are left out\n"},
      {"times that are not seconds", at(0, "wake: a=1") + "  sh-5 [001] d..2. 123456: wake: a=1\n",
       "wake CPU1@7000100000 wake TID=5 Task=sh a=1\n",
       "T:2: no event; 1 such lines are left out\n"},
      {"a name that may end in two places",
       at(0, "wake: a=1") + "-1 [0] 1.1: e: -77 [001] 5.000001: wake: a=1\n",
       "wake CPU1@7000100000 wake TID=5 Task=sh a=1\n",
       "T:2: can be read as an event in more than one way; 1 such lines are left out\n"},
      {"known events in other words",
       at(0, "cpu_idle: state=deep cpu_id=0") + at(1, "sched_switch: a ==> b ==> c:7 [120]"),
       "cpu_idle CPU1@7000100000 cpu_idle TID=5 Task=sh state=deep cpu_id=0\n"
       "sched_switch CPU1@7000101000 a ==> b ==> c:7 [120] TID=5 Task=sh\n",
       "T:1: cpu_idle is unlike the known one; 2 such events count as other ones\n"},
      {"a recording that was cut off", at(0, "wake: a=1") + "  sh-5 [001] d..2. 7.2: wake: pid=12",
       "wake CPU1@7000100000 wake TID=5 Task=sh a=1\n",
       "T:2: the recording ends within this line, which is left out\n"},
  };
  for (const Case& one : kCases) {
    SCOPED_TRACE(one.name);
    const Imported imported(one.text, {"*"});
    EXPECT_EQ(imported.status, 0) << imported.error;
    EXPECT_EQ(imported.samples, one.samples);
    EXPECT_EQ(imported.warnings, one.warnings);
  }
}

TEST(FtraceText, ReadsTheNotesBetweenTheEvents) {
  const Imported imported(
      "# tracer: nop\n#\n# entries-in-buffer/entries-written: 10/15   #P:3\n"
      "#           TASK-PID     CPU#  |||||  TIMESTAMP  FUNCTION\n"
      "version = 6\ncpus=4\nCPU 2 is empty\n" +
          at(0, "cpu_idle: state=1 cpu_id=1") + "CPU:1 [LOST 12 EVENTS]\n" +
          "CPU:1 [30 EVENTS DROPPED]\n##### CPU 2 buffer started ####\n" +
          "CPU:0 [LOST EVENTS]\nCPU:3 [EVENTS DROPPED]\n" +
          at(1, "kernel_stack:         <stack trace>") + " => schedule\n=> do_idle (ffffffff81)\n" +
          at(2, "cpu_idle: state=2 cpu_id=1"),
      {"*"});
  EXPECT_EQ(imported.warnings, "");
  EXPECT_EQ(imported.samples,
            "CPU Idle State CPU1@7000100000+1 state1\n"
            "kernel_stack CPU1@7000101000 <stack trace> TID=5 Task=sh\n"
            "CPU Idle State CPU1@7000102000+1 state2\n");
  const pwr::SystemDescription& system = imported.sink.given->getDescription();
  EXPECT_EQ(system.topology.getNumThreads(), 4U);
  ASSERT_EQ(system.infoValues.size(), 1U);
  EXPECT_EQ(system.infoValues[0].getValue(), 5U);
  ASSERT_EQ(system.lostEvents.size(), 1U);
  EXPECT_EQ(system.lostEvents[0].source,
            "the recording (CPU0: at least 1, CPU1: 42, CPU3: at least 1)");
}

TEST(FtraceText, FindsTheRecordingInAPage) {
  const std::string page =
      "\n<!DOCTYPE html>\n<html><script>" + at(0, "wake: a=0") +
      "</script>\n<script class=\"trace-data\" type=\"application/text\">\nPROCESS DUMP\n" +
      "USER PID PPID\n" + at(0, "wake: a=0") +
      "</script><script class=\"trace-data\" type=\"application/text\">\n# tracer: nop\n" +
      at(0, "wake: a=1") + at(1, "wake: a=2") + "</script>\n" + at(2, "wake: a=0") +
      "<script class=\"trace-data\" type=\"application/text\">" + at(3, "wake: a=3") +
      "  </script>\n</html>";
  EXPECT_EQ(importedLines(page),
            "wake CPU1@7000100000 wake TID=5 Task=sh a=1\n"
            "wake CPU1@7000101000 wake TID=5 Task=sh a=2\n"
            "wake CPU1@7000103000 wake TID=5 Task=sh a=3\n");
}

TEST(FtraceText, RefusesWhatHasNoEvents) {
  const std::pair<const char*, const char*> kCases[] = {
      {"# tracer: function_graph\n#\n 0)   1.2 us    |  schedule();\n 1)   0.4 us\n",
       "T:3: no event of the kernel, nor is any other line"},
      {"<HTML><body>a report</body></HTML>",
       "T: the page has no script of the class trace-data with a recording"},
      {"some text\nof another kind\n", "T: its content is none of what can be read"},
  };
  for (const auto& [text, expected] : kCases) {
    const Imported imported(text);
    EXPECT_NE(imported.status, 0);
    EXPECT_TRUE(imported.error.starts_with(expected)) << imported.error;
    EXPECT_EQ(imported.sink.lines, "");
  }
  EXPECT_EQ(Imported("# tracer: nop\n#\n").status, 0);  // there was none
}

/// The whole text is looked at while it comes, so this is asked of each of its beginnings.
TEST(FtraceText, IsRecognisedByItsFirstWholeLine) {
  const std::string text = "note\n" + at(0, "wake: a=1");
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_FALSE(FtraceImport::isOurs(std::string_view(text).substr(0, size), false)) << size;
  }
  EXPECT_TRUE(FtraceImport::isOurs(text, false));
  EXPECT_TRUE(FtraceImport::isOurs("cpus=8", true));
  EXPECT_FALSE(FtraceImport::isOurs("# a list\nx=8\n", true));
}

}  // namespace
}  // namespace tavrin
