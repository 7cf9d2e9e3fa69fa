#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <thread>

#include "tavrin/platform/AbortAction.h"
#include "tavrin/platform/SamplingThread.h"
#include "tavrin/tracing/CpuBuffer.h"
#include "tavrin/tracing/EventDecoder.h"
#include "tavrin/tracing/TraceInstance.h"
#include "tavrin/tracing/TraceSource.h"

namespace tavrin {
namespace {

namespace fs = std::filesystem;

const KnownEvent& known(const std::string& name) {
  for (const KnownEvent& event : knownEvents()) {
    if (event.name == name) return event;
  }
  std::abort();
}

/// A "format" file, as Documentation/trace/events.rst shows them.
std::string format(const std::string& name, int id, const std::string& fields) {
  return "name: " + name + "\nID: " + std::to_string(id) +
         "\nformat:\n"
         "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
         "\tfield:unsigned char common_flags;\toffset:2;\tsize:1;\tsigned:0;\n"
         "\tfield:unsigned char common_preempt_count;\toffset:3;\tsize:1;\tsigned:0;\n"
         "\tfield:int common_pid;\toffset:4;\tsize:4;\tsigned:1;\n\n" +
         fields + "\nprint fmt: \"%d\", REC->common_pid\n";
}

std::string idleFormat() {
  return format("cpu_idle", 20,
                "\tfield:u32 state;\toffset:8;\tsize:4;\tsigned:0;\n"
                "\tfield:u32 cpu_id;\toffset:12;\tsize:4;\tsigned:0;\n");
}

/// Puts numbers and texts one behind the other.
class Bytes {
 public:
  template <typename Number>
  Bytes& put(Number number) {
    const auto* const bytes = reinterpret_cast<const std::byte*>(&number);
    content.insert(content.end(), bytes, bytes + sizeof number);
    return *this;
  }
  Bytes& text(const std::string& text, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) put(i < text.size() ? text[i] : '\0');
    return *this;
  }
  /// What every event begins with.
  static Bytes event(std::uint16_t id, std::int32_t pid) {
    return Bytes().put(id).put(std::uint16_t{0}).put(pid);
  }
  std::vector<std::byte> content;
};

Bytes idleEvent(std::uint32_t cpu, std::uint32_t state) {
  return Bytes::event(20, 0).put(state).put(cpu);
}

TEST(EventDecoder, ReadsFieldsWhereTheFormatsSayTheyAre) {
  EventDecoder decoder;
  ASSERT_EQ(decoder.add(known("cpu_idle"), idleFormat()), 0);
  const auto idle = decoder.decode(idleEvent(3, IdleEvent::kLeft).content);
  ASSERT_TRUE(idle && std::holds_alternative<IdleEvent>(*idle));
  EXPECT_EQ(std::get<IdleEvent>(*idle).cpu, 3U);
  EXPECT_EQ(std::get<IdleEvent>(*idle).state, IdleEvent::kLeft);

  ASSERT_EQ(decoder.add(known("sched_switch"),
                        format("sched_switch", 21,
                               "\tfield:char next_comm[16];\toffset:8;\tsize:16;\tsigned:0;\n"
                               "\tfield:pid_t next_pid;\toffset:24;\tsize:4;\tsigned:1;\n")),
            0);
  const Bytes swapped = Bytes::event(21, 5).text("sixteen letters!", 16).put(std::int32_t{77});
  const auto next = decoder.decode(swapped.content);
  ASSERT_TRUE(next && std::holds_alternative<SwitchEvent>(*next));
  EXPECT_EQ(std::get<SwitchEvent>(*next).name, "sixteen letters!");
  EXPECT_EQ(std::get<SwitchEvent>(*next).task, 77);
}

TEST(EventDecoder, ReadsTextsOfAnyLengthAndTheFieldsThatAllEventsHave) {
  EventDecoder decoder;
  ASSERT_EQ(
      decoder.add(known("sched_process_exec"),
                  format("sched_process_exec", 30,
                         "\tfield:__data_loc char[] filename;\toffset:8;\tsize:4;\tsigned:0;\n"
                         "\tfield:pid_t pid;\toffset:12;\tsize:4;\tsigned:1;\n")),
      0);
  // Ten bytes at offset 16.
  const Bytes exec = Bytes::event(30, 9)
                         .put(std::uint32_t{10U << 16U | 16U})
                         .put(std::int32_t{9})
                         .text("/bin/true", 10);
  auto what = decoder.decode(exec.content);
  ASSERT_TRUE(what && std::holds_alternative<ExecEvent>(*what));
  EXPECT_EQ(std::get<ExecEvent>(*what).path, "/bin/true");

  ASSERT_EQ(decoder.add(known("wakeup_source_activate"),
                        format("wakeup_source_activate", 31,
                               "\tfield:__rel_loc char[] name;\toffset:8;\tsize:4;\tsigned:0;\n"
                               "\tfield:u64 state;\toffset:16;\tsize:8;\tsigned:0;\n")),
            0);
  const Bytes wakeup =
      Bytes::event(31, 9).put(std::uint32_t{4U << 16U | 12U}).put(0U).put(0ULL).text("rtc", 4);
  what = decoder.decode(wakeup.content);
  ASSERT_TRUE(what && std::holds_alternative<WakeupSourceEvent>(*what));
  EXPECT_EQ(std::get<WakeupSourceEvent>(*what).source, "rtc");

  ASSERT_EQ(
      decoder.add(known("task_newtask"),
                  format("task_newtask", 32,
                         "\tfield:pid_t pid;\toffset:8;\tsize:4;\tsigned:1;\n"
                         "\tfield:unsigned long clone_flags;\toffset:16;\tsize:8;\tsigned:0;\n")),
      0);
  what = decoder.decode(Bytes::event(32, 70).put(75).put(0).put(0x10F00ULL).content);
  ASSERT_TRUE(what && std::holds_alternative<NewTaskEvent>(*what));
  EXPECT_EQ(std::get<NewTaskEvent>(*what).creator, 70);
  EXPECT_TRUE(std::get<NewTaskEvent>(*what).isThread);
}

TEST(EventDecoder, RefusesFormatsThatLackSomethingAndReadsNothingOutsideOfAnEvent) {
  EventDecoder decoder;
  EXPECT_EQ(decoder.add(known("cpu_idle"), "nonsense"), 1);
  EXPECT_EQ(decoder.add(known("cpu_idle"), format("cpu_idle", 20, "")), 1);
  EXPECT_FALSE(decoder.decode(idleEvent(1, 1).content));
  ASSERT_EQ(
      decoder.add(known("sched_process_exec"),
                  format("sched_process_exec", 30,
                         "\tfield:__data_loc char[] filename;\toffset:8;\tsize:4;\tsigned:0;\n"
                         "\tfield:pid_t pid;\toffset:12;\tsize:4;\tsigned:1;\n")),
      0);
  // The text says that it is longer than the event, or elsewhere; then the event is cut.
  for (const std::uint32_t location : {0xFFFF0010U, 0x0004FFFFU, 0xFFFFFFFFU}) {
    Bytes exec = Bytes::event(30, 9).put(location).put(9).text("path", 4);
    for (; !exec.content.empty(); exec.content.pop_back()) {
      const std::vector<std::byte> exact(exec.content);
      const auto what = decoder.decode(exact);
      if (!what) continue;
      EXPECT_LE(std::get<ExecEvent>(*what).path.size(), 4U);
    }
  }
}

/// A page of a trace buffer: its time, how much of it is used, and events, each with the time that
/// has gone by since the one before (include/linux/ring_buffer.h).
Bytes page(unsigned long long time, bool isAfterLoss,
           const std::vector<std::pair<unsigned int, Bytes>>& events) {
  constexpr std::uint64_t kLost = 1ULL << 31U;
  Bytes data;
  for (const auto& [delta, event] : events) {
    data.put(static_cast<std::uint32_t>(event.content.size() / 4) | delta << 5U);
    data.content.insert(data.content.end(), event.content.begin(), event.content.end());
  }
  Bytes page =
      Bytes().put(std::uint64_t{time}).put(data.content.size() | (isAfterLoss ? kLost : 0));
  page.content.insert(page.content.end(), data.content.begin(), data.content.end());
  page.content.resize(4096);
  return page;
}

TEST(CpuBuffer, ReadsPagesAndTellsWhereEventsWereLost) {
  EventDecoder decoder;
  ASSERT_EQ(decoder.add(known("cpu_idle"), idleFormat()), 0);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_DIRECT | O_NONBLOCK), 0);  // keeps the borders of pages
  CpuBuffer buffer(1, ends[0]);
  buffer.fill(decoder);
  EXPECT_EQ(buffer.event(), nullptr);
  for (const Bytes& each :
       {page(1000, false, {{0, idleEvent(1, 0)}, {5, Bytes::event(99, 0)}, {5, idleEvent(1, 2)}}),
        page(5000, true, {{7, idleEvent(1, IdleEvent::kLeft)}})}) {
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
  source.open({EventGroup::Process, EventGroup::Schedule});
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

TEST_F(LiveTracing, LeavesNothingBehindAndCleansUpAfterKilledRuns) {
  const fs::path leftover = folder_ / "tavrin-1";
  const int child = fork();
  if (child == 0) {  // a run that is killed while it traces
    TraceSource source;
    source.open({EventGroup::Process});
    source.begin();
    raise(SIGKILL);
  }
  waitpid(child, nullptr, 0);
  const fs::path killed = folder_ / ("tavrin-" + std::to_string(child));
  EXPECT_TRUE(fs::exists(killed));
  fs::create_directory(leftover);
  {
    TraceSource first;
    first.open({EventGroup::Process});
    EXPECT_FALSE(fs::exists(killed));
    EXPECT_FALSE(fs::exists(leftover));
    EXPECT_TRUE(fs::exists(folder_ / own()));
    // Another run at the same time, here even with the same number, leaves it alone.
    TraceSource second;
    second.open({EventGroup::Process});
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
    source.open({EventGroup::Schedule});
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
  source.open({EventGroup::Schedule});
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
