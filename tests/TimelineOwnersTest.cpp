// Processes and threads in the timeline file: who is described, and whose an event is.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "TimelineFileLines.h"

namespace {

using pwr::Data;
using pwr::DataElement;
using timeline_test::Lines;
using timeline_test::linesOf;
using timeline_test::namesOf;

class TimelineOwnersTest : public column_test::ColumnWriterTest<KorvellWriter> {
 protected:
  using Values = std::vector<std::pair<const char*, Data>>;

  int event(unsigned long long time, const Values& values) {
    DataElement element(Data("alarm"), nullptr, nullptr, 40);
    auto attributes = std::make_shared<pwr::AttributeValueManager>();
    for (const auto& [name, value] : values) {
      attributes->addAttributeValue(pwr::Attribute::create(name, nullptr, pwr::AttributeType::Int),
                                    value);
    }
    element.setAttributes(attributes);
    return sample(wakelock_, time, {element});
  }
  pwr::SystemDescription& system_i() { return metadata_->edit(); }

  const pwr::MetricDescription* const wakelock_ = pwr::createMetric(
      {.name = "Wakelock", .featureTag = "wakelock", .type = pwr::Metric::MetricType::TracedEvent});
};

TEST_F(TimelineOwnersTest, AttributesTellTheOwner) {
  const Values events[] = {
      {{"PID", Data(7)}, {"TID", Data(71U)}, {"Reason", Data("user")}},
      {{"TID", Data(72)}, {"Nothing", Data()}, {"Share", Data(0.5)}},
      {{"PID", Data(99)}},
      {{"PID", Data("a text")}, {"TID", Data(~0ULL)}},
      {{"PID", Data(-1)}, {"TID", Data(-1)}},
  };
  unsigned long long time = 2000;
  for (const Values& values : events) EXPECT_EQ(event(time += 10, values), 0);
  system_i().processes = {{7, 8, "/bin/new", 30, 0}, {8, 0, "eight", 1, 0}};
  system_i().threads = {{8, 72, 3, 4}};
  const std::string file = closed("run.pwr");
  EXPECT_EQ(linesOf(file, "data"),
            (Lines{("2010 METRIC=Wakelock PROCESS=/bin/new THREAD=Thread 71 INFO=alarm "
                    "INFO=Reason: user DURATION=40"),
                   "2020 METRIC=Wakelock THREAD=Thread 72 INFO=alarm INFO=Share: 0.5 DURATION=40",
                   "2030 METRIC=Wakelock PROCESS=Process 99 INFO=alarm DURATION=40",
                   ("2040 METRIC=Wakelock INFO=alarm INFO=PID: a text "
                    "INFO=TID: 18446744073709551615 DURATION=40"),
                   ("2050 METRIC=Wakelock PROCESS=Process -1 THREAD=Thread -1 INFO=alarm "
                    "DURATION=40")}));
  EXPECT_EQ(namesOf(file, "process"),
            (Lines{"Process -1 Process -1  4294967295 -", "eight eight start 1 end 0 8 -",
                   "/bin/new new start 30 end 0 7 (eight)", "Process 99 Process 99  99 -"}));
  EXPECT_EQ(namesOf(file, "thread"),
            (Lines{"Thread -1 -1  4294967295 (Process -1)", "Thread 71 71  71 (/bin/new)",
                   "Thread 72 72 start 3 end 4 72 (eight)"}));
  EXPECT_EQ(namesOf(file, "nameid_attribute").size(), 5U);
}

TEST_F(TimelineOwnersTest, AnEventIsOfTheOneThatLivedThen) {
  // In no order, and the second "b" described twice; "c" still runs.
  system_i().processes = {{7, 0, "c", 3000, 0},
                          {7, 0, "a", 1000, 1999},
                          {7, 0, "b before exec", 2100, 0},
                          {7, 0, "b", 2100, 2500},
                          {9, 7, "child of b", 2500, 0}};
  system_i().threads = {{7, 71, 1000, 1500}, {7, 71, 2100, 2400}, {9, 71, 2600, 2700}};
  const struct {
    unsigned long long time;
    Values values;
    const char* owner;
  } kEvents[] = {
      {1000, {{"PID", Data(7)}, {"TID", Data(7)}}, "PROCESS=a THREAD=Thread 7"},
      {1999, {{"PID", Data(7)}, {"TID", Data(7)}}, "PROCESS=a THREAD=Thread 7"},
      // Between two of them: the nearest.
      {2049, {{"PID", Data(7)}}, "PROCESS=a"},
      {2050, {{"PID", Data(7)}}, "PROCESS=b"},
      {2100, {{"PID", Data(7)}, {"TID", Data(7)}}, "PROCESS=b THREAD=Thread 7"},
      {2300, {{"PID", Data(7)}, {"TID", Data(71)}}, "PROCESS=b THREAD=Thread 71"},
      {2650, {{"TID", Data(71)}}, "THREAD=Thread 71"},
      {2749, {{"PID", Data(7)}, {"TID", Data(71)}}, "PROCESS=b THREAD=Thread 71"},
      {9999, {{"PID", Data(7)}, {"TID", Data(70)}}, "PROCESS=c THREAD=Thread 70"},
  };
  Lines expected;
  for (const auto& [time, values, owner] : kEvents) {
    EXPECT_EQ(event(time, values), 0);
    expected.push_back(std::to_string(time) + " METRIC=Wakelock " + owner +
                       " INFO=alarm DURATION=40");
  }
  const std::string file = closed("run.pwr");
  EXPECT_EQ(linesOf(file, "data"), expected);
  EXPECT_EQ(namesOf(file, "process"),
            (Lines{"a a start 1000 end 1999 7 -", "b b start 2100 end 2500 7 -",
                   "c c start 3000 end 0 7 -", "child of b child of b start 2500 end 0 9 (b)"}));
  EXPECT_EQ(
      namesOf(file, "thread"),
      (Lines{"Thread 7 7  7 (a)", "Thread 7 7  7 (b)", "Thread 70 70  70 (c)",
             "Thread 71 71 start 1000 end 1500 71 (a)", "Thread 71 71 start 2100 end 2400 71 (b)",
             "Thread 71 71 start 2600 end 2700 71 (child of b)"}));
}

TEST_F(TimelineOwnersTest, AnExecBeginsAnotherProgram) {
  system_i().processes = {
      {7, 1, "/bin/cc", 1000, 0, "cc1", {{"/bin/sh", "sh", 1100}, {"", "make", 1200}}},
      {1, 0, "", 1, 1150, "init"},
      {8, 7, "/bin/child", 1150, 1160},
      // Times that run backwards, and two programs in one tick: the last one holds.
      {9, 0, "/last", 2000, 3000, "", {{"/first", "", 2500}, {"/back", "", 2400}}}};
  system_i().threads = {{7, 71, 1100, 1150, "worker"}, {7, 7, 1000, 0}};
  const std::pair<unsigned long long, const char*> events[] = {
      {1000, "/bin/sh"}, {1099, "/bin/sh"}, {1100, "make"},
      {1199, "make"},    {1200, "/bin/cc"}, {9999, "/bin/cc"}};
  Lines expected;
  for (const auto& [time, program] : events) {
    EXPECT_EQ(event(time, {{"PID", Data(7)}}), 0);
    expected.push_back(std::to_string(time) + " METRIC=Wakelock PROCESS=" + program +
                       " INFO=alarm DURATION=40");
  }
  const std::string file = closed("run.pwr");
  EXPECT_EQ(linesOf(file, "data"), expected);
  EXPECT_EQ(
      namesOf(file, "process"),
      (Lines{"init init start 1 end 1150 1 -", "/bin/sh sh start 1000 end 1100 7 (init)",
             "make make start 1100 end 1200 7 (init)", "/bin/cc cc1 start 1200 end 0 7 (init)",
             "/bin/child child start 1150 end 1160 8 (make)",
             "/first first start 2000 end 2500 9 -", "/last last start 2500 end 3000 9 -"}));
  EXPECT_EQ(namesOf(file, "thread"), (Lines{"Thread 7 7 start 1000 end 0 7 (/bin/sh)",
                                            "worker 71 start 1100 end 1150 71 (make)"}));
}

TEST_F(TimelineOwnersTest, ThreadsOfNoKnownProcess) {
  for (const Values& values : {Values{{"TID", Data(5)}}, Values{{"PID", Data(4)}, {"TID", Data(6)}},
                               Values{{"TID", Data(6)}}}) {
    static unsigned long long time = 2000;
    EXPECT_EQ(event(++time, values), 0);
  }
  const std::string file = closed("run.pwr");
  EXPECT_EQ(namesOf(file, "thread"), (Lines{"Thread 5 5  5 -", "Thread 6 6  6 (Process 4)"}));
}

TEST_F(TimelineOwnersTest, ParentsAreDescribedBeforeTheirChildren) {
  EXPECT_EQ(event(2000, {{"PID", Data(1)}}), 0);
  // 1, 2 and 3 descend from each other, 4 from itself; 50 is described nowhere.
  system_i().processes = {{1, 2, "one", 1, 2},  {2, 3, "two", 1, 2},   {3, 1, "", 1, 2},
                          {4, 4, "four", 1, 2}, {5, 50, "five", 1, 2}, {6, 0, "six", 1, 2}};
  system_i().threads = {{60, 61, 1, 2}};
  const std::string file = closed("run.pwr");
  EXPECT_EQ(namesOf(file, "process"),
            (Lines{"Process 3 Process 3 start 1 end 2 3 -", "two two start 1 end 2 2 (Process 3)",
                   "one one start 1 end 2 1 (two)", "four four start 1 end 2 4 -",
                   "Process 50 Process 50  50 -", "five five start 1 end 2 5 (Process 50)",
                   "six six start 1 end 2 6 -", "Process 60 Process 60  60 -"}));
  EXPECT_EQ(namesOf(file, "thread"), Lines{"Thread 61 61 start 1 end 2 61 (Process 60)"});
}

TEST_F(TimelineOwnersTest, LongPathsGiveWayToTheTimes) {
  const std::string most = "18446744073709551615";
  const unsigned long long last = ~0ULL;
  const std::string folders(400, 'd');
  EXPECT_EQ(event(2000, {{"PID", Data(1)}}), 0);
  system_i().processes = {{1, 0, "/" + folders + "/" + folders + "/tool", last, last},
                          {2, 0, "C:\\x\\" + std::string(500, 'p'), 1, 2},
                          {3, 0, "/\u00e4" + std::string(380, 'q') + "/r", 1, 2},
                          {4, 0, std::string(70000, '\x80'), 1, 2}};
  const Lines processes = linesOf(closed("run.pwr"), "process");
  ASSERT_EQ(processes.size(), 4U);
  // 400 bytes, less the closing NUL and the type's name, less the times and the short name.
  const std::size_t room = 392 - (11 + 2 * most.size()) - 4;
  EXPECT_EQ(processes[0], "..." + folders.substr(0, room - 3 - 5) + "/tool tool start " + most +
                              " end " + most + " 1 -")
      << "folders in the middle";
  EXPECT_EQ(processes[1],
            "..." + std::string(187, 'p') + " " + std::string(189, 'p') + " start 1 end 2 2 -");
  EXPECT_EQ(processes[2], "..." + std::string(373, 'q') + "/r r start 1 end 2 3 -");
  EXPECT_EQ(processes[3].substr(processes[3].size() - 18), " start 1 end 2 4 -");
}

/// Events of a hundred numbers, each given over and over, against a search through all lifetimes.
TEST_F(TimelineOwnersTest, ManyLifetimes) {
  constexpr int kProcesses = 20000;
  constexpr int kNumbers = 100;
  std::vector<pwr::Process> lives;
  for (int n = 0; n < kProcesses; ++n) {
    const unsigned long long start = 1000ULL + static_cast<unsigned int>(n);
    // Each is the child of the one before it, as deep as there are processes.
    lives.emplace_back(n % kNumbers + 1, (n + kNumbers - 1) % kNumbers + 1, std::to_string(n),
                       start, start + kNumbers - 1);
  }
  std::mt19937 random(17);  // NOLINT: the same every time
  Lines expected;
  for (unsigned int n = 0; n < 500; ++n) {
    const unsigned long long time = 1000 + kNumbers + 30ULL * n;
    const auto number = static_cast<int>(random() % kNumbers + 1);
    EXPECT_EQ(event(time, {{"PID", Data(number)}}), 0);
    for (const pwr::Process& life : lives) {
      if (life.getPid() != number || time < life.getStartTime() || time > life.getEndTime())
        continue;
      expected.push_back(std::to_string(time) + " METRIC=Wakelock PROCESS=" + life.getPath() +
                         " INFO=alarm DURATION=40");
    }
  }
  std::ranges::shuffle(lives, random);
  system_i().processes = lives;
  const std::string file = closed("run.pwr");
  EXPECT_EQ(linesOf(file, "data"), expected);
  EXPECT_EQ(linesOf(file, "process").size(), static_cast<std::size_t>(kProcesses));
}

}  // namespace
