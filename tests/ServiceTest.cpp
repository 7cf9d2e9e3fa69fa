// The parts of a recording that runs as a service: names, bounds of its files, packing, and what
// its manager hears.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "hostcommon/StagedFile.h"
#include "tavrin/service/FileKeeper.h"
#include "tavrin/service/FilePacker.h"
#include "tavrin/service/Rotation.h"
#include "tavrin/service/RunNames.h"
#include "tavrin/service/ServiceNotifier.h"
#include "tests/TestSupport.h"

#if defined(__SANITIZE_ADDRESS__)
extern "C" std::size_t
__sanitizer_get_current_allocated_bytes();  // NOLINT: g++ has no header of it
#endif

using namespace tavrin;  // NOLINT: the tests are about this namespace
namespace fs = std::filesystem;

namespace {

using Time = RunFolder::Time;

constexpr const char* kStart = "-20260105-000000-000";

void setModified(const fs::path& path, Time time) {
  const auto whole = std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch());
  const timespec times[] = {{whole.count(), 0}, {whole.count(), 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
}

TEST(RunNames, AreThoseOfTheStemAlone) {
  const struct {
    const char* name;
    const char* rest;
    bool isNumbered;
  } cases[] = {{"run-20260105-000000-000_7.ztbin", "_7.ztbin", true},
               {"run-20260105-000000-000_7.ztbin.zst", "_7.ztbin.zst", true},
               {"run-20260105-000000-000.csv", ".csv", false},
               {"run-20260105-000000-000_trace.csv", "_trace.csv", false},
               {"run-20260105-000000-000", "", false},
               {"run-20260105-000000-00x_7.ztbin", "", false},
               {"run-20260105-000000-0007_7.ztbin", "", false},
               {"run_7.ztbin", "", false},
               {"running-20260105-000000-000_7.ztbin", "", false},
               {"other-20260105-000000-000_7.ztbin", "", false},
               {"run-20260105-000000-000_.ztbin", "_.ztbin", false}};
  for (const auto& [name, rest, isNumbered] : cases) {
    EXPECT_EQ(restOfRunName(name, "run"), rest) << name;
    EXPECT_EQ(isNumberedRest(restOfRunName(name, "run")), isNumbered) << name;
  }
  const std::string now = "run" + startSuffix() + "_0.ztbin";
  EXPECT_EQ(restOfRunName(now, "run"), "_0.ztbin") << now;
}

/// A service on a clock of the test: it writes a file, of a size by chance, every ten minutes.
class FakeService {
 public:
  /// `folder` ends in a slash.
  FakeService(std::string folder, const KeepBounds& bounds)
      : folder_(std::move(folder)),
        bounds_(bounds),
        files_(folder_, "run", false),
        rotation_(files_, bounds) {}

  void step();
  void restart() {
    start_ = std::to_string(10000000 + ++restarts_);
    number_ = 0;
    const std::string abandoned = folder_ + ".tavrin-0123456789abcdef";
    std::ofstream(abandoned) << std::string(200, 'x');
    setModified(abandoned, now_);
  }
  std::uint64_t removed() const { return rotation_.removed(); }

 private:
  void writeFile(std::size_t size);
  void check(const char* when);

  const std::string folder_;
  const KeepBounds bounds_;
  RunFolder files_;
  Rotation rotation_;
  Time now_ = Time(std::chrono::hours(500'000));
  std::mt19937_64 random_{testSeed()};
  std::string start_ = "10000000";
  int restarts_ = 0;
  int number_ = 0;
  std::size_t lastSize_ = 1000;
  std::string path_;
};

void FakeService::writeFile(std::size_t size) {
  path_ = folder_ + "run-" + start_ + "-000000-000_" + std::to_string(number_++) + ".ztbin";
  pwr::StagedFile file;
  ASSERT_TRUE(file.open(path_));
  std::fputs(std::string(size, 'x').c_str(), file.stream());
  std::fflush(file.stream());
  check("while a file is written");
  rotation_.trim(now_, 0);
  ASSERT_TRUE(file.commit()) << "what is written is not removed";
  setModified(path_, now_);
}

void FakeService::step() {
  now_ += std::chrono::minutes(10);
  rotation_.trim(now_, 2 * lastSize_);
  lastSize_ = std::min<std::size_t>(500 + random_() % (2 * lastSize_ - 500), 5000);
  writeFile(lastSize_);
  check("when it has its name");
  rotation_.trim(now_, lastSize_);
  std::string error;
  if (number_ % 25 == 0) {
    EXPECT_TRUE(packFile(path_, Packing::Zstd, error)) << error;
  }
  check("when it is packed");
}

void FakeService::check(const char* when) {
  std::uint64_t bytes = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with("run-") && !name.starts_with(".tavrin-")) continue;
    bytes += entry.file_size();
    struct stat status {};
    ASSERT_EQ(stat(entry.path().c_str(), &status), 0);
    const double age =
        static_cast<double>(std::chrono::system_clock::to_time_t(now_) - status.st_mtim.tv_sec);
    if (bounds_.ageSec > 0 && name.starts_with("run-")) {
      EXPECT_LE(age, bounds_.ageSec) << when;
    }
  }
  if (bounds_.bytes > 0) {
    EXPECT_LE(bytes, bounds_.bytes) << when;
  }
}

/// Bytes that the process has allocated.
std::size_t allocated() {
#if defined(__SANITIZE_ADDRESS__)
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

TEST(Rotation, AWeekStaysWithinItsBounds) {
  constexpr double kHour = 3600.0;
  const KeepBounds cases[] = {{.ageSec = 12 * kHour, .bytes = 0},
                              {.ageSec = 0, .bytes = 60'000},
                              {.ageSec = 6 * kHour, .bytes = 40'000}};
  for (const KeepBounds& bounds : cases) {
    const TempFolder folder;
    const std::string unfinished = "run" + std::string(kStart) + "_5.ztbin.incomplete";
    folder.write("other-20260105-000000-000_0.ztbin", "of another base name");
    folder.write("run_0.ztbin", "of a run without bounds");
    folder.write(unfinished, "what could be written");
    setModified(folder.path(unfinished), Time(std::chrono::hours(400'000)));
    FakeService service(folder.path(), bounds);
    std::size_t afterADay = 0;
    for (int minutes = 0; minutes < 7 * 24 * 60; minutes += 10) {
      if (minutes % 1500 == 0) service.restart();
      service.step();
      if (minutes == 24 * 60) afterADay = allocated();
    }
    EXPECT_LT(allocated(), afterADay + 10'000) << "no memory for what is gone";
    EXPECT_GT(service.removed(), 900U);
    EXPECT_TRUE(fs::exists(folder.path("other-20260105-000000-000_0.ztbin")));
    EXPECT_TRUE(fs::exists(folder.path("run_0.ztbin")));
    EXPECT_FALSE(fs::exists(folder.path(".tavrin-0123456789abcdef"))) << "abandoned";
    EXPECT_FALSE(fs::exists(folder.path(unfinished))) << "the oldest of all";
  }
}

TEST(Rotation, WhatIsFromTheFutureGoesFirst) {
  const TempFolder folder;
  const auto now = Time(std::chrono::hours(500'000));
  using std::chrono::hours;
  const struct {
    std::string name;
    Time modified;
  } files[] = {{"run" + std::string(kStart) + "_0.ztbin", now + hours(9000)},
               {"run" + std::string(kStart) + "_1.ztbin", now - hours(3)},
               {"run" + std::string(kStart) + "_2.ztbin", now - hours(2)}};
  for (const auto& [name, modified] : files) {
    folder.write(name, std::string(500, 'x'));
    setModified(folder.path(name), modified);
  }
  const std::string far = "run" + std::string(kStart) + "_3.ztbin";
  folder.write(far, "a year that does not fit into nanoseconds");
  const timespec times[] = {{13'000'000'000, 0}, {13'000'000'000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, folder.path(far).c_str(), times, 0), 0);
  RunFolder content(folder.path(), "run", false);
  EXPECT_EQ(Rotation(content, {.ageSec = 7200.0, .bytes = 0}).trim(now, 0).files.size(), 3U);
  EXPECT_TRUE(fs::exists(folder.path(far))) << "its age is not known";
  const auto left = Rotation(content, {.ageSec = 0, .bytes = 510}).trim(now, 0).files;
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left.front().name, files[2].name);
}

TEST(FileKeeper, DoesNotDelayTheEndForLong) {
  constexpr int kFiles = 100;
  const TempFolder folder;
  const auto name = [](int i) {
    return "run" + std::string(kStart) + "_" + std::to_string(i) + ".ztbin";
  };
  for (int i = 0; i < kFiles; ++i) folder.write(name(i), std::string(500'000, 'x'));
  for (const bool isPatient : {false, true}) {
    FileKeeper keeper(
        {.folder = folder.path(), .stem = "run", .bounds = {}, .packing = Packing::Zstd});
    keeper.start();
    keeper.finish(isPatient ? std::chrono::minutes(5) : std::chrono::minutes(0));
    int packed = 0;
    for (int i = 0; i < kFiles; ++i) packed += fs::exists(folder.path(name(i) + ".zst")) ? 1 : 0;
    EXPECT_EQ(packed == kFiles, isPatient) << packed;
  }
}

TEST(Rotation, LeavesLinesToWhoeverSendsThem) {
  const TempFolder folder;
  const std::string stem = "run" + std::string(kStart);
  folder.write(stem + "_0.lp.gz", std::string(500, 'x'));
  folder.write(stem + "_0.ztbin", std::string(500, 'x'));
  for (const bool spares : {true, false}) {
    RunFolder files(folder.path(), "run", spares);
    Rotation(files, {.ageSec = 0, .bytes = 400}).trim(std::chrono::system_clock::now(), 0);
    EXPECT_EQ(fs::exists(folder.path(stem + "_0.lp.gz")), spares);
    EXPECT_FALSE(fs::exists(folder.path(stem + "_0.ztbin")));
  }
}

TEST(FilePacker, KeepsTheTimeAndTakesTheOriginalAway) {
  const TempFolder folder;
  const std::string path = folder.path("run_0.ztbin");
  const std::string content(300'000, 'y');
  folder.write("run_0.ztbin", content);
  setModified(path, Time(std::chrono::hours(400'000)));
  const auto modified = fs::last_write_time(path);
  std::string error;
  ASSERT_TRUE(packFile(path, Packing::Zstd, error)) << error;
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(fs::last_write_time(path + ".zst"), modified);
  const std::string packed = readFile(path + ".zst");
  EXPECT_EQ(unpackUpTo(1'000'000, Packing::Zstd, packed).size(), content.size());
  EXPECT_FALSE(packFile(path, Packing::Zstd, error));
  EXPECT_EQ(error, "cannot read " + path + ": No such file or directory");
  EXPECT_EQ(readFile(path + ".zst"), packed) << "what is there stays";
}

/// A manager's end of the protocol.
class Manager {
 public:
  explicit Manager(const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, name.size());
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), size), 0);
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
  }
  ~Manager() {
    close(socket_);
    for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) unsetenv(name);
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  /// The oldest message; "" without one.
  std::string take() const {
    char text[1000];
    const ssize_t size = recv(socket_, text, sizeof text, MSG_DONTWAIT);
    return size < 0 ? "" : std::string(text, static_cast<std::size_t>(size));
  }

 private:
  const int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST(ServiceNotifier, TellsTheManager) {
  const TempFolder folder;
  const std::string abstract = "@tavrin-test-" + std::to_string(getpid());
  for (const std::string& name : {folder.path("socket"), abstract}) {
    const Manager manager(name);
    ServiceNotifier notifier;
    notifier.ready();
    EXPECT_EQ(manager.take(), "READY=1");
    for (int i = 0; i < 3; ++i) notifier.status("busy");
    EXPECT_EQ(manager.take(), "STATUS=busy");
    notifier.reloading();
    EXPECT_TRUE(manager.take().starts_with("RELOADING=1\nMONOTONIC_USEC="));
    notifier.alive(ServiceNotifier::Clock::now());
    notifier.stopping();
    EXPECT_EQ(manager.take(), "STOPPING=1") << "without a watchdog nothing is said to it";
  }
}

TEST(ServiceNotifier, TellsTheWatchdogSeveralTimesInItsPeriod) {
  const Manager manager("@tavrin-watchdog-" + std::to_string(getpid()));
  setenv("WATCHDOG_USEC", "8000000", 1);
  setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
  ServiceNotifier notifier;
  const auto start = ServiceNotifier::Clock::now();
  int told = 0;
  for (int ms = 0; ms < 16'000; ms += 50) {
    notifier.alive(start + std::chrono::milliseconds(ms));
    if (!manager.take().empty()) ++told;
  }
  EXPECT_EQ(told, 8);
  for (const char* hostile : {"9223372036854775807", "1"}) {
    setenv("WATCHDOG_USEC", hostile, 1);
    const auto period = ServiceNotifier().watchdogPeriod();
    EXPECT_GE(period, std::chrono::milliseconds(10)) << hostile;
    EXPECT_LE(period, std::chrono::hours(1)) << hostile;
  }
  setenv("WATCHDOG_PID", "1", 1);
  EXPECT_EQ(ServiceNotifier().watchdogPeriod().count(), 0) << "it waits for somebody else";
}

TEST(ServiceNotifier, AManagerThatIsGoneOrFullDelaysNothing) {
  const Manager manager("@tavrin-full-" + std::to_string(getpid()));
  ServiceNotifier notifier;
  for (int i = 0; i < 10'000; ++i) notifier.status(std::to_string(i));
  EXPECT_EQ(manager.take(), "STATUS=0");
  setenv("NOTIFY_SOCKET", "/nowhere/at/all", 1);
  EXPECT_FALSE(ServiceNotifier().isHeard());
}

}  // namespace
