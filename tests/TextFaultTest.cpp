// What a text writer does when the system fails it, by means of Linux.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "TextTestSupport.h"
#include "hostcommon/Platform.h"

namespace {

using namespace text_test;

using pwr::Data;

std::size_t openFiles() {
  const auto descriptors = std::filesystem::directory_iterator("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

class TextFaultTest : public TextTest {
 protected:
  void TearDown() override {
    writer_.reset();
    for (const std::string& mountPoint : mounted_) umount2(mountPoint.c_str(), MNT_DETACH);
    TextTest::TearDown();
  }

  /// False, with the cause in errno, when this process may not mount.
  bool mountAt(const std::filesystem::path& place, const char* source, const char* type,
               unsigned long flags, const char* options) {
    if (mount(source, place.c_str(), type, flags, options) != 0) return false;
    mounted_.push_back(place);
    return true;
  }

 private:
  std::vector<std::string> mounted_;
};

TEST_F(TextFaultTest, ThousandsOfTables) {
  constexpr unsigned int kTables = 3000;
  pwr::platform::raiseOpenFileLimit();
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur < kTables + 100) GTEST_SKIP() << "only " << limit.rlim_cur << " open files";
  const std::size_t before = openFiles();
  std::string expected;
  for (unsigned int n = 0; n < kTables; ++n) {
    const std::string title = "T" + std::to_string(n);
    EXPECT_EQ(row(simpleTable(1 + n / 100, n, title), {Data(n % 10)}), 0);
    expected += title + "\nV\n" + std::to_string(n % 10) + "\n";
  }
  EXPECT_EQ(openFiles(), before + kTables);
  EXPECT_EQ(report(), expected);
  EXPECT_EQ(openFiles(), before - 1);
}

// The report goes to a full device, once in small pieces and once in one piece.
TEST_F(TextFaultTest, FullDeviceIsReported) {
  std::filesystem::create_symlink("/dev/full", folder_.path("full.csv"));
  for (const std::size_t size : {1U, 1000000U}) {
    log_.clear();
    reopen("full");
    EXPECT_EQ(row(simpleTable(1, 1, "T"), {Data(std::string(size, 'x'))}), 0);
    EXPECT_EQ(writer_->closeOutput(), 1);
    EXPECT_EQ(log_.all(), "ERROR: Could not write " + folder_.path("full.csv") +
                              ": No space left on device. The report is incomplete.\n");
    EXPECT_EQ(privateDirectories().size(), 0U);
  }
}

// Tables lost before they have a file: the table before is still written.
TEST_F(TextFaultTest, TemporaryFileCannotBeCreated) {
  EXPECT_EQ(define(simpleTable(1, 1, "First")), 0);
  const auto directory = privateDirectories().at(0);
  std::filesystem::rename(directory, directory.string() + "-moved");
  EXPECT_EQ(define(simpleTable(1, 2, "Second")), 1);
  const std::string line = log_.all();
  const std::string path = directory.string() + "/tmp___";
  EXPECT_TRUE(line.starts_with("ERROR: Cannot create temp output file: " + path)) << line;
  EXPECT_TRUE(line.ends_with(".tmp. error: errnum=2: No such file or directory\n")) << line;

  log_.clear();
  reopen("run");
  EXPECT_EQ(define(simpleTable(1, 1, "First")), 0);
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const rlimit tight{static_cast<rlim_t>(lowest), limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  EXPECT_EQ(define(simpleTable(1, 2, "Second")), 1);
  EXPECT_EQ(define(simpleTable(1, 3, "Third")), 1);
  setrlimit(RLIMIT_NOFILE, &limit);
  close(lowest);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(written(), "First\nV\n");
  EXPECT_EQ(log_.all(),
            "Warning: Could not post process metric data: Too many open file handles. Results may "
            "be incomplete for some metrics. Try post processing results with only one -r option "
            "at a time. If the problem persists; try collecting fewer metrics.\n");
}

TEST_F(TextFaultTest, NoSpaceForTemporaryFiles) {
  const std::filesystem::path tiny = folder_.path("tiny");
  std::filesystem::create_directory(tiny);
  // Room for the root, the link to the report, the private directory, and two files of 8 pages.
  if (!mountAt(tiny, "tmpfs", "tmpfs", 0, "size=32k,nr_inodes=5")) {
    GTEST_SKIP() << "cannot mount: " << std::strerror(errno);
  }
  std::filesystem::create_symlink(folder_.path("run.csv"), tiny / "run.csv");
  reopen("tiny/run");
  const Table small = simpleTable(1, 1, "Small");
  EXPECT_EQ(define(small), 0);
  const Table big = simpleTable(1, 2, "Big");
  unsigned int taken = 0;
  while (row(big, {Data(std::string(99, 'x'))}) == 0) ++taken;
  EXPECT_GT(taken, 250U);
  EXPECT_EQ(row(big, {Data("late")}), 1);
  EXPECT_EQ(log_.all().rfind("ERROR: Could not write temp file "), 0U);
  EXPECT_TRUE(log_.all().ends_with(
      ": No space left on device. The table \"Big\" is incomplete, and others may be.\n"));
  log_.clear();
  EXPECT_EQ(define(simpleTable(1, 3, "Third")), 1);
  EXPECT_EQ(define(simpleTable(1, 4, "Fourth")), 1);
  EXPECT_EQ(writer_->closeOutput(), 1);
  const std::string told = log_.all();
  EXPECT_EQ(told.rfind("Warning: Could not generate result files. No space is left on the disk.\n"),
            0U);
  EXPECT_EQ(told.find("ERROR"), std::string::npos);
  // The large table is there in whole lines; the small one was still waiting to be written.
  const std::string lines = written();
  EXPECT_TRUE(lines.find("Big\n") != std::string::npos);
  EXPECT_EQ(lines.size() % 100, std::string("Small\nBig\n").size());
  EXPECT_GT(lines.size(), 25000U);
}

TEST_F(TextFaultTest, ReadOnlyFileSystem) {
  const std::filesystem::path locked = folder_.path("locked");
  std::filesystem::create_directory(locked);
  reopen("locked/run");
  if (!mountAt(locked, locked.c_str(), nullptr, MS_BIND, nullptr) ||
      !mountAt(locked, nullptr, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr)) {
    GTEST_SKIP() << "cannot mount: " << std::strerror(errno);
  }
  EXPECT_EQ(define(simpleTable(1, 1, "First")), 1);
  EXPECT_EQ(define(simpleTable(1, 2, "Second")), 1);
  EXPECT_EQ(log_.all(),
            "Warning: Could not generate result files. The file system is not writeable.\n");
  EXPECT_EQ(writer_->closeOutput(), 1);
}

// Damage to one temporary file costs that table alone.
TEST_F(TextFaultTest, DamagedTemporaryFiles) {
  struct Case {
    void (*damage)(const std::filesystem::path&);
    const char* warning;
    const char* detail;
    const char* written;
  };
  const Case cases[] = {
      {[](const auto&) {}, "Unable to open temp file: ", "", ""},
      {[](const auto& path) { std::filesystem::create_directory(path); }, "Error reading file ",
       ": 21", "Damaged\n"},
      {[](const auto& path) {
         const std::uint32_t lengths[] = {1, 3};
         const auto* const bytes = reinterpret_cast<const char*>(lengths);
         std::ofstream(path, std::ios::binary)
             << (std::string(bytes, 4) + "V" + std::string(bytes + 4, 4) + "cu");
       },
       "Temp file ends within a record: ", "", "Damaged\nV  , \n"},
  };
  const Table damaged = describe(
      {.containerId = 1, .tableId = 1, .title = "Damaged", .handles = {column("V"), column("W")}});
  for (const Case& test : cases) {
    SCOPED_TRACE(test.warning);
    log_.clear();
    reopen("run");
    EXPECT_EQ(row(damaged, {Data("cut"), Data(1)}), 0);
    EXPECT_EQ(define(simpleTable(1, 2, "Whole")), 0);
    const auto path = tempFiles().at(0);
    std::filesystem::remove(path);
    test.damage(path);
    EXPECT_EQ(writer_->closeOutput(), 1);
    EXPECT_EQ(written(), std::string(test.written) + "Whole\nV\n");
    EXPECT_EQ(log_.all(),
              std::string("WARNING: ") + test.warning + path.string() + test.detail + "\n");
    // The writer deletes files only; the directory put in place of one is the test's to remove.
    for (const auto& directory : privateDirectories()) std::filesystem::remove_all(directory);
  }
}

}  // namespace
