#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <thread>

#include "KernelBytes.h"
#include "tavrin/platform/AbortAction.h"
#include "tavrin/platform/SamplingThread.h"
#include "tavrin/tracing/CpuBuffer.h"
#include "tavrin/tracing/TraceInstance.h"
#include "tavrin/tracing/TraceSource.h"

namespace tavrin {
namespace {

namespace fs = std::filesystem;

TEST(CpuBuffer, ReadsPagesAndTellsWhereEventsWereLost) {
  EventDecoder decoder;
  ASSERT_EQ(addFormat(decoder, "cpu_idle", idleFormat()), 0);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_DIRECT | O_NONBLOCK), 0);  // keeps the borders of pages
  CpuBuffer buffer(1, ends[0]);
  buffer.fill(decoder);
  EXPECT_EQ(buffer.event(), nullptr);
  for (const Bytes& each :
       {pageOf(1000, Bytes(recordOf(0, idleEvent(1, 0)))
                         .add(recordOf(5, Bytes::event(99, 0)))
                         .add(recordOf(5, idleEvent(1, 2)))),
        pageOf(5000, recordOf(7, idleEvent(1, IdleEvent::kLeft)), kMissedEvents)}) {
    ASSERT_EQ(write(ends[1], each.content.data(), each.content.size()), 4096);
  }
  std::string text;
  for (buffer.fill(decoder); buffer.event() != nullptr; buffer.next(decoder)) {
    const auto* const idle = std::get_if<IdleEvent>(&buffer.event()->what);
    text += std::to_string(buffer.event()->time) + ":" +
            (idle == nullptr ? "lost" : std::to_string(idle->state)) + " ";
  }
  EXPECT_EQ(text, "1000:0 1010:2 1010:lost 5007:4294967295 ");
  EXPECT_EQ(buffer.events(), 3U);
  EXPECT_EQ(buffer.losses(), 1U);
  close(ends[0]);
  close(ends[1]);
}

/// Opens all buffers too.
void openAll(TraceSource& source, const std::vector<EventGroup>& groups) {
  source.open(groups);
  for (long cpu = 0; cpu < sysconf(_SC_NPROCESSORS_CONF); ++cpu) {
    source.addCpu(static_cast<unsigned int>(cpu));
  }
}

/// What these tests need a kernel for.
class LiveTracing : public testing::Test {
 protected:
  void SetUp() override {
    const std::string reason = TraceSource::whyAbsent(EventGroup::Process);
    if (!reason.empty()) GTEST_SKIP() << reason;
    folder_ = fs::path(trace_api_folder()) / "instances";
    // One at a time: each would remove what another one leaves.
    lock_ = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(lock_, LOCK_EX), 0);
  }
  void TearDown() override { close(lock_); }
  std::string own() const { return "tavrin-" + std::to_string(getpid()); }
  fs::path folder_;
  int lock_ = -1;
};

TEST_F(LiveTracing, TellsOfEveryForkExecAndExitWithTimesOfTheRun) {
  TraceSource source;
  openAll(source, {EventGroup::Process, EventGroup::Schedule});
  source.begin();
  const unsigned long long start = nowTicks();
  std::map<int, int> told;  // by task: forks, and times 100 its exits
  std::vector<int> children;
  for (int i = 0; i < 20; ++i) {
    const int child = fork();
    if (child == 0) _exit(0);
    children.push_back(child);
    waitpid(child, nullptr, 0);
  }
  const unsigned long long stop = nowTicks();
  source.end();
  unsigned long long last = 0;
  source.take(~0ULL, ~std::size_t{0}, [&](const KernelEvent& event) {
    EXPECT_GE(event.time, last);
    last = event.time;
    if (event.time < start || event.time > stop) return;
    if (const auto* forked = std::get_if<ForkEvent>(&event.what)) told[forked->task] += 1;
    if (const auto* ended = std::get_if<ExitEvent>(&event.what)) told[ended->task] += 100;
  });
  for (const int child : children) EXPECT_EQ(told[child], 101) << child;
  for (const TraceSource::Counts& counts : source.counts()) {
    EXPECT_EQ(counts.lost, 0U);
    // The kernel's own count.
    std::ifstream statistics(folder_ / own() / "per_cpu" / ("cpu" + std::to_string(counts.cpu)) /
                             "stats");
    const std::string text{std::istreambuf_iterator<char>(statistics), {}};
    EXPECT_NE(text.find("\nread events: " + std::to_string(counts.taken) + "\n"), std::string::npos)
        << text << counts.taken;
  }
}

TEST_F(LiveTracing, EventsOfACpuThatIsAddedHaveWaitedForIt) {
  if (sysconf(_SC_NPROCESSORS_ONLN) < 2) GTEST_SKIP() << "one CPU";
  TraceSource source;
  source.open({EventGroup::Process});
  ASSERT_EQ(source.addCpu(0), 0);
  source.begin();
  std::set<int> children;
  for (const int cpu : {1, 0, 1}) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cpu, &one);
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    const int child = fork();
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    children.insert(child);
  }
  source.end();
  EXPECT_EQ(source.addCpu(1), 0);
  EXPECT_EQ(source.addCpu(1), 0) << "known";
  EXPECT_EQ(source.addCpu(1U << 20U), ENOENT);
  unsigned long long last = 0;
  std::multiset<int> told;
  source.take(~0ULL, ~std::size_t{0}, [&](const KernelEvent& event) {
    EXPECT_GE(event.time, last);
    last = event.time;
    const auto* const forked = std::get_if<ForkEvent>(&event.what);
    if (forked != nullptr && children.contains(forked->task)) told.insert(forked->task);
  });
  EXPECT_EQ(told, std::multiset<int>(children.begin(), children.end()));
}

TEST_F(LiveTracing, LeavesNothingBehindAndCleansUpAfterKilledRuns) {
  const fs::path leftover = folder_ / "tavrin-1";
  const int child = fork();
  if (child == 0) {  // a run that is killed while it traces
    TraceSource source;
    openAll(source, {EventGroup::Process});
    source.begin();
    raise(SIGKILL);
  }
  waitpid(child, nullptr, 0);
  const fs::path killed = folder_ / ("tavrin-" + std::to_string(child));
  EXPECT_TRUE(fs::exists(killed));
  fs::create_directory(leftover);
  {
    TraceSource first;
    openAll(first, {EventGroup::Process});
    EXPECT_FALSE(fs::exists(killed));
    EXPECT_FALSE(fs::exists(leftover));
    EXPECT_TRUE(fs::exists(folder_ / own()));
    // Another run at the same time, here even with the same number, leaves it alone.
    TraceSource second;
    openAll(second, {EventGroup::Process});
    EXPECT_TRUE(fs::exists(folder_ / own()));
    EXPECT_TRUE(fs::exists(folder_ / (own() + "-1")));
  }
  EXPECT_FALSE(fs::exists(folder_ / own()));
  EXPECT_FALSE(fs::exists(folder_ / (own() + "-1")));
}

TEST_F(LiveTracing, AnAbortRemovesTheInstanceAlsoWhileItIsRead) {
  const int child = fork();
  if (child == 0) {
    TraceSource source;
    openAll(source, {EventGroup::Schedule});
    source.begin();
    std::thread reader([&source] {
      for (;;) source.take(~0ULL, 100, [](const KernelEvent& /*event*/) {});
    });
    runAbortActions();
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(fs::exists(folder_ / ("tavrin-" + std::to_string(child))));
}

TEST_F(LiveTracing, CountsWhatABufferLosesAndTellsWhere) {
  TraceSource source;
  openAll(source, {EventGroup::Schedule});
  std::ofstream(folder_ / own() / "buffer_size_kb") << "8";
  source.begin();
  for (int i = 0; i < 5000; ++i) usleep(1);
  source.end();
  unsigned long long losses = 0;
  source.take(~0ULL, ~std::size_t{0}, [&](const KernelEvent& event) {
    losses += std::holds_alternative<LostEvents>(event.what) ? 1U : 0U;
  });
  unsigned long long lost = 0;
  for (const TraceSource::Counts& counts : source.counts()) lost += counts.lost;
  EXPECT_GT(losses, 0U);
  EXPECT_GT(lost, 1000U);
}

}  // namespace
}  // namespace tavrin
