// What a text writer does when the system fails it, by means of Linux.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>

#include "TextTestSupport.h"
#include "hostcommon/Platform.h"

namespace {

using namespace text_test;

using pwr::Data;

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

/// The number of files that this process may have open is another one while this exists.
class OpenFileLimit {
 public:
  explicit OpenFileLimit(std::size_t most) {
    getrlimit(RLIMIT_NOFILE, &previous_);
    const rlimit tight{most, previous_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  }
  ~OpenFileLimit() { setrlimit(RLIMIT_NOFILE, &previous_); }
  OpenFileLimit(const OpenFileLimit&) = delete;
  OpenFileLimit& operator=(const OpenFileLimit&) = delete;

 private:
  rlimit previous_{};
};

// None of them is kept open: one descriptor more than the report takes is enough for all.
TEST_F(TextFaultTest, ThousandsOfTables) {
  constexpr unsigned int kTables = 3000;
  const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(lowest);
  const OpenFileLimit limit(static_cast<std::size_t>(lowest) + 1);
  const std::string longText(TempTableOutput::kPending, 'x');
  std::string expected;
  for (unsigned int n = 0; n < kTables; ++n) {
    const std::string title = "T" + std::to_string(n);
    const std::string cell = n % 100 == 0 ? longText : std::to_string(n % 10);
    EXPECT_EQ(row(simpleTable(1 + n / 100, n, title), {Data(cell)}), 0);
    expected += title;
    expected += "\nV" + std::string(cell.size() - 1, ' ');
    expected += "\n" + cell + "\n";
  }
  EXPECT_TRUE(report() == expected);
}

// The report outgrows what a file may have, which its tables do not. The one before stays.
TEST_F(TextFaultTest, ReportThatCannotBeWritten) {
  EXPECT_EQ(report(), "");
  ASSERT_EQ(writer_->openOutput(folder_.path("run"), false), 0);
  for (unsigned int n = 0; n < 1000; ++n) EXPECT_EQ(define(simpleTable(1, n, "Title")), 0);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const auto previous = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit tight{4096, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  EXPECT_EQ(writer_->closeOutput(), 1);
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, previous);
  const std::string path = folder_.path("run.csv");
  EXPECT_EQ(log_.all(), "ERROR: Could not write " + path + " completely: File too large. " +
                            "What there is stands in " + path + ".incomplete.\n");
  EXPECT_EQ(written(), "");
  EXPECT_EQ(incomplete().size(), 4096U);
  EXPECT_EQ(privateDirectories().size(), 0U);
}

// Tables lost before they have a file, each told once whatever number of rows it has. The table
// before is still written.
TEST_F(TextFaultTest, TemporaryFileCannotBeCreated) {
  EXPECT_EQ(define(simpleTable(1, 1, "First")), 0);
  const auto directory = privateDirectories().at(0);
  std::filesystem::rename(directory, directory.string() + "-moved");
  for (int repeated = 0; repeated < 3; ++repeated) {
    EXPECT_EQ(row(simpleTable(1, 2, "Second"), {Data(1)}), 1);
  }
  const std::string line = log_.all();
  const std::string path = directory.string() + "/tmp___";
  EXPECT_TRUE(line.starts_with("ERROR: Cannot create temp output file: " + path)) << line;
  EXPECT_TRUE(line.ends_with(".tmp. error: errnum=2: No such file or directory\n")) << line;
  EXPECT_EQ(std::ranges::count(line, '\n'), 1);
  std::filesystem::rename(directory.string() + "-moved", directory);
  EXPECT_EQ(row(simpleTable(1, 2, "Second"), {Data(1)}), 1) << "stays refused";
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(incomplete(), "First\nV\n");
}

TEST_F(TextFaultTest, DirectoryCannotBeCreated) {
  const std::filesystem::path folder = folder_.path("sub");
  std::filesystem::create_directory(folder);
  reopen("sub/run");
  std::filesystem::rename(folder, folder_.path("moved"));
  for (unsigned int n = 0; n < 10; ++n) EXPECT_EQ(define(simpleTable(1, n, "T")), 1);
  EXPECT_EQ(log_.all(), "ERROR: Cannot create temp output file: " + folder.string() +
                            ". error: errnum=2: No such file or directory\n");
}

TEST_F(TextFaultTest, NoDescriptorLeft) {
  EXPECT_EQ(define(simpleTable(1, 1, "First")), 0);
  {
    const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const OpenFileLimit limit(static_cast<std::size_t>(lowest));
    EXPECT_EQ(define(simpleTable(1, 2, "Second")), 1);
    EXPECT_EQ(define(simpleTable(1, 3, "Third")), 1);
    close(lowest);
  }
  EXPECT_EQ(row(simpleTable(1, 2, "Second"), {Data(1)}), 1) << "stays refused";
  EXPECT_EQ(log_.all(),
            "Warning: Could not post process metric data: Too many open file handles. Results may "
            "be incomplete for some metrics. Try post processing results with only one -r option "
            "at a time. If the problem persists; try collecting fewer metrics.\n");
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(incomplete(), "First\nV\n");
}

TEST_F(TextFaultTest, NoSpaceForTemporaryFiles) {
  const std::filesystem::path tiny = folder_.path("tiny");
  std::filesystem::create_directory(tiny);
  // Room for the root, the report, the private directory, and two files of 8 pages.
  if (!mountAt(tiny, "tmpfs", "tmpfs", 0, "size=32k,nr_inodes=5")) {
    GTEST_SKIP() << "cannot mount: " << std::strerror(errno);
  }
  reopen("tiny/run");
  EXPECT_EQ(define(simpleTable(1, 1, "Small")), 0);
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
  EXPECT_EQ(log_.all(),
            "Warning: Could not generate result files. No space is left on the disk.\n");
  // The report gets the room that its tables did not have.
  ASSERT_EQ(mount("tmpfs", tiny.c_str(), "tmpfs", MS_REMOUNT, "size=1m,nr_inodes=5"), 0);
  EXPECT_EQ(writer_->closeOutput(), 1);
  const std::string lines = readFile(tiny / "run.csv.incomplete");
  const std::string start = "Small\nV\nBig\n";
  EXPECT_TRUE(lines.starts_with(start));
  EXPECT_EQ(lines.size() % 100, start.size()) << "whole lines";
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
    // Long enough to leave nothing in memory.
    EXPECT_EQ(row(damaged, {Data("cut"), Data(std::string(TempTableOutput::kPending, 'x'))}), 0);
    EXPECT_EQ(define(simpleTable(1, 2, "Whole")), 0);
    const auto path = tempFiles().at(0);
    std::filesystem::remove(path);
    test.damage(path);
    EXPECT_EQ(writer_->closeOutput(), 1);
    EXPECT_EQ(incomplete(), std::string(test.written) + "Whole\nV\n");
    EXPECT_EQ(log_.general(),
              std::string("WARNING: ") + test.warning + path.string() + test.detail + "\n");
    // The writer deletes files only; the directory put in place of one is the test's to remove.
    for (const auto& directory : privateDirectories()) std::filesystem::remove_all(directory);
  }
}

// A file that disappears before its last rows are written must not come back without the others.
TEST_F(TextFaultTest, TemporaryFileDisappears) {
  const Table table = simpleTable(1, 1, "T");
  EXPECT_EQ(row(table, {Data(std::string(TempTableOutput::kPending, 'x'))}), 0);
  EXPECT_EQ(row(table, {Data("last")}), 0);
  const auto path = tempFiles().at(0);
  std::filesystem::remove(path);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_TRUE(log_.errors().starts_with("ERROR: Could not write temp file " + path.string() +
                                        ": No such file or directory. The table \"T\" is "))
      << log_.errors();
}

}  // namespace
