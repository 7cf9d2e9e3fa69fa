// Lifetimes of processes and threads, as polls and events tell of them.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tavrin/common/ProcessTable.h"

using tavrin::ProcessTable;

namespace {

constexpr unsigned long long kSecond = 1'000'000'000;

/// "pid(parent) start-end path:name<earlier path:name until time", times in seconds.
std::vector<std::string> processesOf(const ProcessTable& table) {
  pwr::SystemDescription system;
  table.describe(system);
  const auto seconds = [](unsigned long long ticks) { return std::to_string(ticks / kSecond); };
  std::vector<std::string> lines;
  for (const pwr::Process& process : system.processes) {
    std::string line = std::to_string(process.getPid()) + "(" +
                       std::to_string(process.getParentPid()) + ") " +
                       seconds(process.getStartTime()) + "-" + seconds(process.getEndTime()) + " " +
                       process.getPath() + ":" + process.getName();
    for (const pwr::ProcessImage& image : process.getEarlierImages()) {
      line += "<" + image.path + ":" + image.name + " until " + seconds(image.endTime);
    }
    lines.push_back(line);
  }
  return lines;
}

/// "tid of pid start-end name".
std::vector<std::string> threadsOf(const ProcessTable& table) {
  pwr::SystemDescription system;
  table.describe(system);
  std::vector<std::string> lines;
  for (const pwr::Thread& thread : system.threads) {
    lines.push_back(std::to_string(thread.getTid()) + " of " + std::to_string(thread.getPid()) +
                    " " + std::to_string(thread.getStartTime() / kSecond) + "-" +
                    std::to_string(thread.getEndTime() / kSecond) + " " + thread.getName());
  }
  return lines;
}

using Lines = std::vector<std::string>;

TEST(ProcessTable, TellsWhatHappened) {
  struct Case {
    const char* name;
    std::function<void(ProcessTable&)> events;
    Lines processes;
    Lines threads;
  };
  const Case cases[] = {
      {"a shell that becomes a compiler, and ends",
       [](ProcessTable& table) {
         table.started(5, 1, 2 * kSecond, "/bin/sh", "sh");
         table.execed(5, 3 * kSecond, "/usr/bin/cc", "cc");
         table.execed(5, 4 * kSecond, "/usr/bin/cc", "cc1");
         table.execed(5, 4 * kSecond, "", "cc2");
         table.ended(5, 6 * kSecond);
         table.ended(5, 7 * kSecond);
       },
       {"5(1) 2-6 /usr/bin/cc:cc2</bin/sh:sh until 3"},
       {"5 of 5 2-6 cc2"}},
      {"a number that is given again: ended by the next one's start",
       [](ProcessTable& table) {
         table.started(5, 1, 2 * kSecond, "", "first");
         table.started(5, 1, 9 * kSecond, "", "second");
       },
       {"5(1) 2-9 :first", "5(1) 9-0 :second"},
       {"5 of 5 2-9 first", "5 of 5 9-0 second"}},
      {"an event and a poll tell of one process; of what is known nothing is lost",
       [](ProcessTable& table) {
         table.started(5, 0, 2 * kSecond + 9'999'999, "", "name");
         table.started(5, 1, 2 * kSecond, "/path", "other");
       },
       {"5(1) 2-0 /path:name"},
       {"5 of 5 2-0 name"}},
      {"told late: of the owner before",
       [](ProcessTable& table) {
         table.started(5, 1, 9 * kSecond, "/b", "b");
         table.started(5, 1, 2 * kSecond, "/a", "a");
         table.execed(5, 3 * kSecond, "/c", "c");
         table.ended(5, 4 * kSecond);
         table.threadEnded(5, 4 * kSecond);
       },
       {"5(1) 9-0 /b:b"},
       {"5 of 5 9-0 b"}},
      {"threads: named, ended, taken along by an exec and by the end",
       [](ProcessTable& table) {
         table.started(5, 1, 2 * kSecond, "/a", "a");
         for (const int tid : {6, 7, 8}) table.threadStarted(5, tid, 3 * kSecond, "a");
         table.threadNamed(7, "worker");
         table.threadNamed(5, "main");
         table.threadEnded(6, 4 * kSecond);
         table.execed(5, 5 * kSecond, "/b", "b");
         table.threadStarted(5, 8, 6 * kSecond, "b");
         table.ended(5, 7 * kSecond);
       },
       {"5(1) 2-7 /b:b</a:main until 5"},
       {"5 of 5 2-7 b", "6 of 5 3-4 a", "7 of 5 3-5 worker", "8 of 5 3-5 a", "8 of 5 6-7 b"}},
      {"a thread's number becomes a process's",
       [](ProcessTable& table) {
         table.started(5, 1, 2 * kSecond, "/a", "a");
         table.threadStarted(5, 6, 2 * kSecond, "t");
         table.started(6, 5, 4 * kSecond, "/b", "b");
         table.ended(5, 5 * kSecond);
       },
       {"5(1) 2-5 /a:a", "6(5) 4-0 /b:b"},
       {"5 of 5 2-5 a", "6 of 5 2-4 t", "6 of 6 4-0 b"}},
      {"a thread that is found to be of another process is of that one alone",
       [](ProcessTable& table) {
         table.started(5, 1, 2 * kSecond, "/a", "a");
         table.threadStarted(5, 6, 3 * kSecond, "t");
         table.started(6, 1, 3 * kSecond - 1, "/b", "b");
         table.ended(5, 4 * kSecond);
         table.ended(6, 5 * kSecond);
       },
       {"5(1) 2-4 /a:a", "6(1) 2-5 /b:b"},
       {"5 of 5 2-4 a", "6 of 6 3-5 t"}},
      {"what is not known is not made up",
       [](ProcessTable& table) {
         table.ended(5, 1);
         table.execed(5, 1, "/a", "a");
         table.threadNamed(5, "a");
         table.threadEnded(5, 1);
       },
       {},
       {}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    ProcessTable table;
    one.events(table);
    EXPECT_EQ(processesOf(table), one.processes);
    EXPECT_EQ(threadsOf(table), one.threads);
  }
}

TEST(ProcessTable, ItsMemoryIsBounded) {
  ProcessTable table(100);
  table.started(1, 0, kSecond, "/first", "first");
  for (int pid = 2; pid < 1002; ++pid) {
    table.started(pid, 1, 2 * kSecond, "/a", "a");
    table.ended(pid, 3 * kSecond);
  }
  const Lines processes = processesOf(table);
  ASSERT_EQ(processes.size(), 101U);
  EXPECT_EQ(processes.front(), "1(0) 1-0 /first:first") << "those that live stay";
  EXPECT_EQ(processes.at(1), "902(1) 2-3 /a:a");
  EXPECT_EQ(table.forgotten(), 2U * 900);

  for (unsigned int n = 0; n < 100; ++n) {
    table.execed(1, kSecond * (10 + n), "/p" + std::to_string(n), "p");
  }
  pwr::SystemDescription system;
  table.describe(system);
  const auto& earlier = system.processes.front().getEarlierImages();
  ASSERT_EQ(earlier.size(), ProcessTable::kMostImages);
  EXPECT_EQ(earlier.back().path, "/p98");
  EXPECT_EQ(table.livingThreadsOf(1), std::vector<int>{1});
}

}  // namespace
