// Processes, as polls of a tree of files see them come, work and go.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <numeric>
#include <thread>

#include "ProcessTree.h"
#include "tavrin/collect/ProcessPoll.h"

namespace tavrin {
namespace {

class ProcessFeatureTest : public testing::Test {
 protected:
  void forks(int count) const {
    tree_.write("/proc/stat", "cpu 1\nbtime 5\nprocesses " + std::to_string(count) + "\n");
  }
  FeatureDriver& driver() {
    if (driver_ == nullptr) driver_ = std::make_unique<FeatureDriver>("process", tree_);
    return *driver_;
  }
  /// "pid start-end path:name" for each process, times in ms.
  std::string lives() {
    pwr::SystemDescription system;
    system.collectionStartTimestamp = 10'000'000'000;
    tables_ = driver().finish(system);
    std::string text;
    for (const pwr::Process& process : system.processes) {
      text += std::to_string(process.getPid()) + " " +
              std::to_string(process.getStartTime() / 1'000'000) + "-" +
              std::to_string(process.getEndTime() / 1'000'000) + " " + process.getPath() + ":" +
              process.getName() + "\n";
    }
    for (const pwr::Thread& thread : system.threads) {
      if (thread.getPid() == thread.getTid()) continue;
      text += "thread " + std::to_string(thread.getTid()) + " " +
              std::to_string(thread.getStartTime() / 1'000'000) + "-" +
              std::to_string(thread.getEndTime() / 1'000'000) + " " + thread.getName() + "\n";
    }
    return text;
  }
  std::string tableLine(const std::string& start) const {
    const std::size_t place = tables_.find("\n" + start);
    if (place == std::string::npos) return "no " + start;
    return tables_.substr(place + 1, tables_.find('\n', place + 1) - place - 1);
  }

  const ProcessTree tree_{};
  std::unique_ptr<FeatureDriver> driver_;
  std::string tables_;
};

TEST_F(ProcessFeatureTest, BusyOnesByTimeWithWhoTheyAre) {
  tree_.put({4194303, "a) b (c", 100, 1000});
  tree_.put({20, "(sd-pam)", 100, 2000});
  tree_.put({3, "bad \xff", 100, 5});
  tree_.put({2, "kthreadd", 0, 0, 0, kKernelThread});
  tree_.write("/proc/self/stat", "not a number");
  ASSERT_EQ(driver().reason(), "");
  EXPECT_EQ(driver().sample(10), "") << "the first readings";
  EXPECT_EQ(driver().sample(11), "") << "nobody was busy";
  tree_.run({4194303, "a) b (c", 100, 1250});
  tree_.run({20, "(sd-pam)", 100, 2003});
  EXPECT_EQ(driver().sample(12),
            "Process CPU Time @11+1: /Busiest 1=250(a) b (c,4194303,4194303) "
            "/Busiest 2=3((sd-pam),20,20)\n");
  tree_.run({3, "bad \xff", 100, 6});
  EXPECT_EQ(driver().sample(14), "Process CPU Time @12+2: /Busiest 1=1(bad \xEF\xBF\xBD,3,3)\n");
  EXPECT_EQ(lives(),
            "2 0-0 :kthreadd\n"
            "3 1000-0 /bin/bad \xEF\xBF\xBD:bad \xEF\xBF\xBD\n"
            "20 1000-0 /bin/(sd-pam):(sd-pam)\n"
            "4194303 1000-0 /bin/a) b (c:a) b (c\n");
  EXPECT_EQ(tableLine("a) b (c"), "a) b (c (4194303) | 250000000 | 0 | 0 | 0 | n/a | n/a");
}

TEST_F(ProcessFeatureTest, ComeAndGo) {
  forks(1000);
  tree_.put({7, "first", 100, 50});
  driver().sample(10);
  forks(1003);
  // One that came and has run, one that was there unseen, and one that is dying.
  tree_.put({8, "second", 1045, 30});
  tree_.put({9, "old", 500, 40});
  tree_.put({10, "dead", 1045, 5, 0, 0, 1, "Z"});
  EXPECT_EQ(driver().sample(11),
            "Process CPU Time @10+1: /Busiest 1=30(second,8,8) /Busiest 2=5(dead,10,10)\n");
  tree_.end(7);
  tree_.end(10);
  tree_.run({8, "second", 1045, 31});
  tree_.run({9, "old", 500, 42});
  EXPECT_EQ(driver().sample(12),
            "Process CPU Time @11+1: /Busiest 1=2(old,9,9) /Busiest 2=1(second,8,8)\n");
  tree_.put({11, "unasked", 1250, 1});
  EXPECT_EQ(driver().sample(12.5), "") << "nothing was started, so nothing is looked for";
  tree_.end(11);
  forks(1007);
  EXPECT_EQ(driver().sample(13), "");
  EXPECT_EQ(lives(),
            "7 1000-12000 /bin/first:first\n"
            "9 10000-0 /bin/old:old\n"
            "8 10450-0 /bin/second:second\n"
            "10 10450-12000 /bin/dead:dead\n");
  EXPECT_EQ(tableLine("There at"), "There at the start | 1");
  EXPECT_EQ(tableLine("Came"), "Came during the run | 2");
  EXPECT_EQ(tableLine("Ended"), "Ended during the run | 2");
  EXPECT_EQ(tableLine("Started, with"), "Started, with threads | 7");
  EXPECT_EQ(tableLine("Started and"), "Started and not seen | 5");
}

TEST_F(ProcessFeatureTest, ANumberThatIsUsedAgainIsAnotherProcess) {
  tree_.put({7, "busy", 100, 50});
  tree_.put({8, "idle", 100, 10});
  driver().sample(10);
  tree_.run({7, "busy", 100, 60});
  driver().sample(11);
  // Within an interval both end, and their numbers are given again: with more time, and with less.
  for (const int pid : {7, 8}) tree_.end(pid);
  tree_.put({7, "new", 1150, 90});
  tree_.put({8, "newer", 1160, 4});
  EXPECT_EQ(driver().sample(12),
            "Process CPU Time @11+1: /Busiest 1=90(new,7,7) /Busiest 2=4(newer,8,8)\n");
  EXPECT_EQ(lives(),
            "7 1000-12000 /bin/busy:busy\n"
            "8 1000-12000 /bin/idle:idle\n"
            "7 11500-0 /bin/new:new\n"
            "8 11600-0 /bin/newer:newer\n");
  EXPECT_EQ(tableLine("busy (7)"), "busy (7) | 10000000 | 0 | 0 | 0 | n/a | n/a");
}

TEST_F(ProcessFeatureTest, WhatCannotBeReadIsLeftAlone) {
  tree_.put({7, "fine", 100, 50});
  tree_.put({8, "hidden", 100, 50});
  tree_.write("/proc/8/stat", "");          // as for a process of another user
  tree_.write("/proc/9/comm", "vanished");  // listed, and gone when it is read
  tree_.write("/proc/11/stat", "11 (cut");
  driver().sample(10);
  for (const int pid : {7, 8}) tree_.run({pid, "", 100, 55});
  EXPECT_EQ(driver().sample(11), "Process CPU Time @10+1: /Busiest 1=5(fine,7,7)\n");
  tree_.end(9);
  EXPECT_EQ(driver().sample(12), "");
  EXPECT_EQ(lives(), "7 1000-0 /bin/fine:fine\n");
  EXPECT_EQ(tableLine("Cannot"), "Cannot be read | 2");
  EXPECT_EQ(tableLine("Started and"), "Started and not seen | n/a") << "without /proc/stat";
}

TEST_F(ProcessFeatureTest, OneThatIsGoneWhenItIsReadIsNotThere) {
  forks(1000);
  tree_.put({7, "fine", 100, 50});
  tree_.write("/proc/9/comm", "vanished");
  driver().sample(10);
  driver().sample(11);
  EXPECT_EQ(lives(), "7 1000-0 /bin/fine:fine\n");
  EXPECT_EQ(tableLine("Cannot"), "Cannot be read | 0") << "though nothing was started since";
}

/// Where the rest of a process ends, and what ends it.
TEST_F(ProcessFeatureTest, ThoseThatDoNotRunAreAskedLessOften) {
  const auto worked = [&](int jiffies) {
    tree_.write("/proc/stat", "cpu  " + std::to_string(jiffies) + " 0 0 0\nprocesses 9\n");
  };
  worked(100);
  tree_.put({7, "idle", 100, 50});
  tree_.put({8, "gone", 100, 50});
  driver().sample(10);
  for (const double seconds : {10.5, 11.0}) EXPECT_EQ(driver().sample(seconds), "");
  tree_.run({7, "idle", 100, 55});
  tree_.end(8);
  EXPECT_EQ(driver().sample(11.25), "") << "it rests";
  EXPECT_EQ(driver().sample(11.75), "Process CPU Time @11.25+0.5: /Busiest 1=5(idle,7,7)\n");
  tree_.run({7, "idle", 100, 57});
  EXPECT_EQ(driver().sample(12), "Process CPU Time @11.75+0.25: /Busiest 1=2(idle,7,7)\n");
  driver().sample(13);
  tree_.run({7, "idle", 100, 82});
  worked(102);
  EXPECT_EQ(driver().sample(13.25), "") << "no more is missing than rounding makes";
  worked(103);
  EXPECT_EQ(driver().sample(13.375), "Process CPU Time @13.25+0.125: /Busiest 1=25(idle,7,7)\n");
  driver().sample(14.5);
  tree_.run({7, "idle", 100, 83});
  driver().expectLast();
  EXPECT_EQ(driver().sample(14.625), "Process CPU Time @14.5+0.125: /Busiest 1=1(idle,7,7)\n");
  EXPECT_EQ(lives(), "7 1000-0 /bin/idle:idle\n8 1000-11750 /bin/gone:gone\n");
  EXPECT_EQ(tableLine("idle (7)"), "idle (7) | 33000000 | 0 | 0 | 0 | n/a | n/a");
}

TEST_F(ProcessFeatureTest, NamesProgramsAndThreadsAreLookedAtAgain) {
  tree_.put({7, "server", 100, 50, 0, 0, 3});
  tree_.put({8, "sh", 100, 50});
  for (const int tid : {7, 71, 72}) {
    tree_.write("/proc/7/task/" + std::to_string(tid) + "/stat", statOf({tid, "worker", 110}));
  }
  driver().sample(10);
  tree_.run({7, "server", 100, 60});
  tree_.put({8, "cc", 100, 90, 6},
            "voluntary_ctxt_switches:\t4\nnonvoluntary_ctxt_switches:\t5\n"
            "VmHWM:\t    2048 kB\nVmRSS:\t 1024 kB\n");
  EXPECT_EQ(driver().sample(11),
            "Process CPU Time @10+1: /Busiest 1=40(cc,8,8) /Busiest 2=10(server,7,7)\n");
  std::filesystem::remove_all(tree_.folder() + "/proc/7/task/72");
  tree_.write("/proc/7/task/73/stat", statOf({73, "late", 1105}));
  driver().sample(12);
  EXPECT_EQ(lives(),
            "7 1000-0 /bin/server:server\n"
            "8 1000-0 /bin/cc:cc\n"
            "thread 71 1100-0 worker\n"
            "thread 72 1100-12000 worker\n"
            "thread 73 11050-0 late\n");
  EXPECT_EQ(tableLine("cc (8)"), "cc (8) | 40000000 | 6000000 | 4 | 5 | 2048 | 1024");
}

TEST_F(ProcessFeatureTest, PeakMemoryOutlivesTheProcess) {
  const std::string switches = "voluntary_ctxt_switches:\t4\nnonvoluntary_ctxt_switches:\t5\n";
  tree_.put({7, "cc", 100, 50}, switches + "VmHWM:\t    2048 kB\nVmRSS:\t 1024 kB\n");
  driver().sample(10);
  // Ended and not waited for: the file tells of memory no more.
  tree_.put({7, "cc", 100, 250, 0, 0, 1, "Z"}, switches);
  driver().sample(11);
  lives();
  EXPECT_EQ(tableLine("cc (7)"), "cc (7) | 200000000 | 0 | 0 | 0 | 2048 | n/a");
}

TEST_F(ProcessFeatureTest, TheSumIsWhatWasMeasured) {
  constexpr int kProcesses = 50;
  for (int n = 1; n <= kProcesses; ++n) tree_.put({n, "p", 100, 0});
  driver().sample(10);
  for (int n = 1; n <= kProcesses; ++n) {
    const auto ran = static_cast<unsigned long long>(n);
    tree_.run({n, "p", 100, ran});
  }
  const std::string samples = driver().sample(11);
  EXPECT_NE(samples.find("/Busiest 20=31(p,31,31) /Others=465(others)\n"), std::string::npos)
      << samples;
  for (int n = 1; n <= kProcesses; n += 2) tree_.end(n);
  driver().sample(12);
  lives();
  EXPECT_EQ(tableLine("others"), "others (30) | 465000000 | 0 | 0 | 0 | n/a | n/a");
  EXPECT_EQ(tableLine("p (50)"), "p (50) | 50000000 | 0 | 0 | 0 | n/a | n/a");
  EXPECT_EQ(tableLine("p (31)"), "p (31) | 31000000 | 0 | 0 | 0 | n/a | n/a");
}

TEST_F(ProcessFeatureTest, AbsentWithoutProcesses) {
  EXPECT_EQ(driver().reason(), "/proc cannot be read: No such file or directory");
  EXPECT_TRUE(driver().feature().metrics().empty());
  tree_.write("/proc/7/stat", "7 (a) S");
  EXPECT_EQ(FeatureDriver("process", tree_).reason(), "no processes with a schedstat below /proc");
}

/// On this machine: the time of a thread that has ended counts, which no file tells.
TEST(ProcessFeatureLive, AllThreadsCount) {
  const SysRoot root;
  const auto poll =
      std::make_shared<ProcessPoll>(std::make_shared<ProcessTable>(), std::make_shared<StatFile>());
  ASSERT_EQ(poll->open(root), "");
  poll->pollAt(1);
  std::thread([] {
    timespec used{};
    while (used.tv_nsec < 30'000'000) clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  }).join();
  poll->pollAt(2);
  const auto known = std::ranges::find(poll->processes(), getpid(), &ProcessPoll::Known::pid);
  ASSERT_NE(known, poll->processes().end());
  const PolledProcess& self = *known->process;
  EXPECT_GE(self.spent, 30'000'000U);
  EXPECT_GE(poll->spent(), self.spent);
  EXPECT_LT(self.spent, 5'000'000'000U);
}

}  // namespace
}  // namespace tavrin
