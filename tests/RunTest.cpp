// The parts of a live run: the queue between the threads, the sampling times, and the command that
// is measured.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <limits>
#include <new>
#include <random>
#include <thread>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/OutputFile.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/platform/ChildProcess.h"
#include "tavrin/platform/OutOfMemory.h"
#include "tavrin/run/Sampler.h"
#include "tests/TestSupport.h"
#include "writers/host/HostFunctions.h"

using namespace tavrin;  // NOLINT: the tests are about this namespace
using pwr::Data;

namespace {

TEST(LatenessHistogram, QuantilesAreWithinAnEighth) {
  LatenessHistogram histogram;
  EXPECT_EQ(histogram.quantile(0.99), 0U);
  std::vector<std::uint64_t> values(20000);
  std::mt19937_64 random(testSeed());
  for (std::uint64_t& value : values) value = random() >> (random() % 64);
  values.push_back(std::numeric_limits<std::uint64_t>::max());
  for (const std::uint64_t value : values) histogram.add(value);
  std::sort(values.begin(), values.end());
  for (const double share : {0.01, 0.5, 0.9, 0.99}) {
    const auto index =
        static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size()))) - 1;
    const auto exact = static_cast<double>(values[index]);
    const auto found = static_cast<double>(histogram.quantile(share));
    EXPECT_GE(found, exact) << share;
    EXPECT_LE(found, exact * 1.126 + 1) << share;
  }
  EXPECT_EQ(histogram.quantile(1.0), values.back());
}

TEST(SampleQueue, KeepsTheOrderAndUsesTheLastFreedBatchAgain) {
  using std::chrono::milliseconds;
  SampleQueue queue(3, 2);
  for (const unsigned long long time : {1ULL, 2ULL, 3ULL}) {
    SampleBatch* const batch = queue.beginFill();
    ASSERT_NE(batch, nullptr);
    EXPECT_EQ(queue.beginFill(), batch) << "until it is handed over";
    batch->setTime(time);
    queue.endFill();
  }
  EXPECT_EQ(queue.beginFill(), nullptr) << "all are waiting";
  SampleBatch* last = nullptr;
  for (const unsigned long long time : {1ULL, 2ULL}) {
    last = queue.beginRead(milliseconds(0));
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->time(), time);
    queue.endRead();
  }
  EXPECT_EQ(queue.beginFill(), last);
  queue.close();
  EXPECT_NE(queue.beginRead(std::chrono::hours(1)), nullptr) << "fewer than enough are read too";
  queue.endRead();
  EXPECT_TRUE(queue.isDone());
}

/// Counts its samples; every reading takes `delay`.
class CountingFeature : public Feature {
 public:
  explicit CountingFeature(std::chrono::milliseconds delay)
      : Feature("count", "Count", ""), delay_(delay) {
    metric_ = addMetric(pwr::createMetric({.name = "Count"}));
  }
  std::string probe(const SysRoot& /*root*/, CpuEntities& /*cpus*/, unsigned /*id*/) override {
    return {};
  }
  void sample(unsigned long long now, SampleBatch& batch) override {
    std::this_thread::sleep_for(delay_);
    if (previous_ != 0) {
      batch.add(metric_, previous_)
          .elements.emplace_back(Data(1U), nullptr, nullptr, now - previous_);
    }
    previous_ = now;
  }

 private:
  const pwr::MetricDescription* metric_;
  std::chrono::milliseconds delay_;
  unsigned long long previous_ = 0;
};

/// How the sampling of one feature is driven.
struct SamplerCase {
  std::chrono::milliseconds readingTime;
  std::size_t capacity;
  bool slowReader;  ///< reads what arrives only at the end
};

/// Samples for `time` every 10 ms.
SamplingReport sampleFor(std::chrono::milliseconds time, const SamplerCase& how) {
  CountingFeature feature(how.readingTime);
  SampleQueue queue(how.capacity);
  StopRequest stop;
  unsigned long long covered = 0;
  Sampler sampler({&feature}, {.interval = std::chrono::milliseconds(10)}, queue, stop);
  const auto read = [&](bool untilDone) {
    while (!queue.isDone()) {
      SampleBatch* const batch = queue.beginRead(std::chrono::milliseconds(1));
      if (batch == nullptr && !untilDone && stop.isRequested()) return;
      if (batch == nullptr) continue;
      for (const pwr::Metric& metric : *batch) {
        covered += metric.getData().elements.front().getDuration();
      }
      queue.endRead();
    }
  };
  std::thread timer([&] {
    std::this_thread::sleep_for(time);
    stop.request();
  });
  if (!how.slowReader) read(false);
  timer.join();
  read(true);
  const SamplingReport report = sampler.join();
  EXPECT_EQ(covered, sampler.stopTicks() - sampler.startTicks()) << "no time may get lost";
  return report;
}

/// Samples for longer and longer times, since the machine may be busy, until the report shows what
/// it should; false when it never does.
template <typename Shows>
bool eventually(const SamplerCase& how, const Shows& shows) {
  for (std::chrono::milliseconds time(200); time < std::chrono::seconds(10); time *= 2) {
    if (shows(sampleFor(time, how))) return true;
  }
  return false;
}

TEST(Sampler, CoversTheWholeTimeWhateverIsLeftOut) {
  using std::chrono::milliseconds;
  EXPECT_TRUE(eventually({milliseconds(0), 64, false}, [](const SamplingReport& good) {
    return good.lateness.count() > 5 && good.dropped == 0;
  }));
  EXPECT_TRUE(eventually({milliseconds(35), 64, false}, [](const SamplingReport& overrun) {
    return overrun.lateness.count() > 1 && overrun.missed > overrun.lateness.count();
  })) << "each pass overruns three deadlines";
  EXPECT_TRUE(eventually({milliseconds(0), 2, true},
                         [](const SamplingReport& full) { return full.dropped > 5; }));
}

TEST(Sampler, TheDurationIsFromTheFirstReadingToTheLast) {
  for (const unsigned readingMs : {0U, 30U}) {
    CountingFeature feature{std::chrono::milliseconds(readingMs)};
    SampleQueue queue(8);
    StopRequest stop;
    constexpr std::chrono::milliseconds kDuration(100);
    Sampler sampler({&feature}, {std::chrono::milliseconds(10), kDuration}, queue, stop);
    while (!queue.isDone()) {
      if (queue.beginRead(std::chrono::milliseconds(100)) != nullptr) queue.endRead();
    }
    sampler.join();
    EXPECT_GE(std::chrono::nanoseconds(sampler.stopTicks() - sampler.startTicks()), kDuration);
    EXPECT_FALSE(stop.isRequested()) << "the time was over, nobody asked for it";
  }
}

TEST(Sampler, EndsWithoutAStopWhenItsOwnerFails) {
  CountingFeature feature(std::chrono::milliseconds(0));
  SampleQueue queue(64);
  StopRequest stop;
  { const Sampler sampler({&feature}, {std::chrono::hours(1)}, queue, stop); }
  EXPECT_TRUE(queue.beginRead(std::chrono::milliseconds(0)) != nullptr) << "the last pass";
}

TEST(SamplingReport, APassIsLateFromATenthOfTheInterval) {
  using std::chrono::microseconds;
  SamplingReport report;
  report.noteStart(microseconds(1000), microseconds(10000));
  EXPECT_EQ(report.late, 0U);
  report.noteStart(microseconds(1001), microseconds(10000));
  EXPECT_EQ(report.late, 1U);
  EXPECT_EQ(report.lateness.count(), 2U);
  EXPECT_EQ(report.lateness.maximum(), 1001000U);
}

TEST(OutOfMemory, EndsTheProcessWithAMessageAndNoTemporaryFiles) {
  const TempFolder folder;
  // In a process of its own. The allocator of the sanitizers would not ask the handler.
  const auto runOut = [&] {
    pwr::forgetTemporary(folder.path().substr(0, folder.path().size() - 1).c_str());
    pwr::OutputFile file;
    file.open(folder.path("run.csv"));
    exitWhenMemoryRunsOut();
    std::get_new_handler()();
  };
  EXPECT_EXIT(runOut(), testing::ExitedWithCode(kExitIncomplete), "memory has run out");
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(ChildProcess, TellsHowTheCommandEnded) {
  const struct {
    std::vector<std::string> command;
    int status;
  } cases[] = {
      {{"true"}, 0},
      {{"sh", "-c", "exit 7"}, 7},
      {{"sh", "-c", "kill -9 $$"}, 137},
      {{"sh", "-c", "kill -PIPE $$; exit 5"}, 141},
  };
  for (const auto& [command, status] : cases) {
    ChildProcess child(command);
    child.start();
    while (!child.hasEnded()) std::this_thread::yield();
    EXPECT_EQ(child.exitStatus(), status) << command.back();
  }
}

TEST(ChildProcess, IsAskedThenKilled) {
  constexpr std::chrono::milliseconds kLong(30000);
  const struct {
    const char* script;
    std::chrono::milliseconds grace;
    const char* told;
    int status;
    bool afterInterrupt = false;
  } cases[] = {
      {"ready; exec sleep 60", kLong, "", 143},
      {"trap '' TERM; ready; while :; do sleep 0.02; done", std::chrono::milliseconds(400),
       "does not end after SIGTERM and is killed", 137},
      {"trap 'sleep 0.1; exit 4' TERM; ready; while :; do sleep 0.02; done", kLong, "", 4},
      // Of the Ctrl-C it is told by the terminal.
      {"trap 'exit 6' TERM; trap 'exit 5' INT; ready; (sleep 0.2; kill -INT $$) & "
       "while :; do sleep 0.02; done",
       kLong, "", 5, true},
      {"ready; exec sleep 60", kLong, "", 143, true},
  };
  for (const auto& [script, grace, told, status, afterInterrupt] : cases) {
    const LogCapture log;
    const TempFolder folder;
    const std::string ready = "ready() { : > " + folder.path("ready") + "; }; ";
    ChildProcess child({"sh", "-c", ready + script}, grace);
    child.start();
    while (!std::filesystem::exists(folder.path("ready"))) std::this_thread::yield();
    child.end(afterInterrupt);
    EXPECT_EQ(child.exitStatus(), status) << script;
    EXPECT_NE(log.general().find(told), std::string::npos) << script << log.general();
    EXPECT_EQ(log.general().find("left behind"), std::string::npos) << script << log.general();
  }
}

TEST(ChildProcess, OneThatCannotBeWaitedForIsNamed) {
  const LogCapture log;
  std::signal(SIGCHLD, SIG_IGN);  // its status goes nowhere then
  ChildProcess child({"true"});
  child.start();
  while (!child.hasEnded()) std::this_thread::yield();
  std::signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(child.exitStatus(), 0);
  EXPECT_NE(log.general().find("how 'true' (process "), std::string::npos) << log.general();
}

TEST(ChildProcess, WhatCannotBeStartedIsRefused) {
  const TempFolder folder;
  folder.write("plain", "echo\n");
  folder.write("script", "#!/no/such/shell\n");
  std::filesystem::permissions(folder.path("script"), std::filesystem::perms::owner_all);
  const std::pair<std::string, std::string> cases[] = {
      {"no-such-command-here", "No such file or directory"},
      {"/no/such/path", "No such file or directory"},
      {folder.path("plain"), "Permission denied"},
      {folder.path(), "Permission denied"},
      {folder.path("script"), "No such file or directory"},
  };
  for (const auto& [command, cause] : cases) {
    try {
      ChildProcess({command}).start();
      FAIL() << command;
    } catch (const CommandError& error) {
      EXPECT_EQ(error.status(), 127);
      EXPECT_EQ(error.what(), std::string("cannot start '").append(command).append("': ") + cause);
    }
  }
  setEnvironment("PATH", folder.path().c_str());
  std::filesystem::create_directory(folder.path("folder"));
  for (const char* const name : {"plain", "folder"}) {
    try {
      const ChildProcess child({name});
      FAIL() << name << " cannot be executed";
    } catch (const CommandError& error) {
      EXPECT_EQ(error.what(), "cannot start '" + std::string(name) + "': Permission denied");
    }
  }
}

}  // namespace
