// What the writers that keep their tables in temporary files do when these fail.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "StorageTestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/columns/IntWriterV2.h"
#include "writers/columns/PhmTextWriter.h"
#include "writers/columns/RawWriterV2.h"

namespace {

struct WriterCase {
  const char* name;
  std::string file;
  std::function<std::unique_ptr<WriterPlugin>()> make;
};

void PrintTo(const WriterCase& writer, std::ostream* out) {
  *out << writer.name;
}

class ColumnFaultTest : public storage_test::StorageTest,
                        public testing::WithParamInterface<WriterCase> {
 protected:
  void SetUp() override {
    StorageTest::SetUp();
    writer_ = GetParam().make();
  }
  void open() {
    ASSERT_EQ(writer_->openOutput("run", false), 0);
    EXPECT_EQ(WriterDispatch::write(*writer_, pwr::SystemMessage(&system_)), 0);
  }
  int sample(const pwr::MetricDescription* metric, unsigned int time) {
    pwr::Metric message(metric);
    message.editData() = {time, {{pwr::Data(std::string(1000, 'x')), nullptr, nullptr, 1}}};
    return WriterDispatch::write(*writer_, message);
  }
  static std::string temporaryFile() {
    const std::string start = "_" + std::to_string(getpid()) + "_";
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      if (entry.path().filename().string().starts_with(start)) return entry.path();
    }
    return "";
  }
  /// Goes to a folder in which no file can be made.
  void leaveForNowhere() {
    std::filesystem::create_directory("gone");
    std::filesystem::current_path("gone");
    std::filesystem::remove(folder_.path("gone"));
  }

  pwr::SystemMetadata system_{pwr::SystemDescription{.timestampClockFrequencyMHz = 1}};
  const pwr::MetricDescription* metric_ = pwr::createMetric({.name = "M"});
  std::unique_ptr<WriterPlugin> writer_;
};

/// Those with a table for each metric.
class ManyTablesFaultTest : public ColumnFaultTest {};

const WriterCase kRaw{"raw", "run.txt", [] { return std::make_unique<RawWriterV2>(); }};
const WriterCase kTrace{"trace", "run_trace.csv", [] { return std::make_unique<IntWriterV2>(); }};
const WriterCase kOverTime{"over_time", "run_phm.csv",
                           [] { return std::make_unique<PhmTextWriter>(); }};
const auto nameOf = [](const auto& writer) { return writer.param.name; };

INSTANTIATE_TEST_SUITE_P(Writers, ColumnFaultTest, testing::Values(kRaw, kTrace, kOverTime),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Writers, ManyTablesFaultTest, testing::Values(kRaw, kTrace), nameOf);

void makeUnreadable(const std::string& name) {
  const int writeOnly = ::open(name.c_str(), O_WRONLY);
  dup2(writeOnly, storage_test::descriptorOf(name));
  close(writeOnly);
}

// Whatever is missing from it, the output does not pass for a whole one.
TEST_P(ColumnFaultTest, RowsThatCannotBeReadBack) {
  const struct {
    void (*damage)(const std::string& name);
    const char* cause;
    const char* verb;
  } cases[] = {
      {storage_test::makeUnseekable, "seekg error: errnum=29: Illegal seek\n", "written"},
      {makeUnreadable, "read error: errnum=9: Bad file descriptor\n", "read"},
  };
  for (const auto& [damage, cause, verb] : cases) {
    SCOPED_TRACE(cause);
    log_.clear();
    open();
    for (unsigned int n = 0; n < 3500; ++n) EXPECT_EQ(sample(metric_, n), 0);
    damage(temporaryFile());
    testing::internal::CaptureStderr();
    EXPECT_EQ(writer_->closeOutput(), 1);
    testing::internal::GetCapturedStderr();
    EXPECT_NE(log_.general().find(cause), std::string::npos) << log_.all();
    EXPECT_NE(log_.general().find(std::string("its temporary file could not be ") + verb + "\n"),
              std::string::npos)
        << log_.all();
    EXPECT_FALSE(std::filesystem::exists(GetParam().file));
    EXPECT_TRUE(std::filesystem::exists(GetParam().file + ".incomplete"));
    EXPECT_EQ(temporaryFile(), "");
  }
}

// Rows get lost as a whole, and those that come when there is room again are there.
TEST_P(ColumnFaultTest, RowsAroundAFullDisk) {
  open();
  unsigned int time = 0;
  {
    const FullDisk disk(1'500'000);
    while (time < 4000) EXPECT_EQ(sample(metric_, time++), 0);
  }
  while (time < 10000) EXPECT_EQ(sample(metric_, time++), 0);
  EXPECT_EQ(writer_->closeOutput(), 1);
  std::istringstream lines(readFile(GetParam().file + ".incomplete"));
  unsigned int rows = 0;
  for (std::string line; std::getline(lines, line);) {
    const auto length = std::ranges::count(line, 'x');
    EXPECT_TRUE(length == 0 || length == 1000) << line;
    rows += length == 1000 ? 1 : 0;
  }
  EXPECT_GT(rows, 5000U);
  EXPECT_LT(rows, 10000U);
}

TEST_P(ColumnFaultTest, NoTemporaryFilesAtAll) {
  leaveForNowhere();
  EXPECT_EQ(writer_->openOutput(folder_.path("run"), false), 1);
  EXPECT_NE(log_.general().find("open error: errnum=2: No such file or directory\n"),
            std::string::npos);
  EXPECT_TRUE(log_.general().ends_with("WARNING: Failed to initialize buffer.\n"));
  std::filesystem::current_path(folder_.path());
  EXPECT_EQ(filesHere(), 0U);
}

// Neither every table nor every sample is a line.
TEST_P(ManyTablesFaultTest, TablesThatCannotBeMade) {
  open();
  EXPECT_EQ(sample(metric_, 1), 0);
  leaveForNowhere();
  constexpr unsigned int kRefused = 1000;
  std::vector<const pwr::MetricDescription*> refused;
  for (unsigned int n = 0; n < kRefused; ++n) {
    refused.push_back(pwr::createMetric({.name = "R" + std::to_string(n)}));
  }
  for (unsigned int time = 0; time < 3; ++time) {
    for (const auto* metric : refused) sample(metric, time);
  }
  std::filesystem::current_path(folder_.path());
  sample(refused.front(), 4);  // stays refused
  EXPECT_EQ(sample(metric_, 5), 0);
  EXPECT_EQ(writer_->closeOutput(), 1);
  const std::string log = log_.all();
  EXPECT_LT(std::count(log.begin(), log.end(), '\n'), 40);
  EXPECT_NE(log_.general().find("lacks 1000 tables with 3001 values, for which there was no "
                                "temporary file: No such file or directory. The first of them is "
                                "\"R0\".\n"),
            std::string::npos)
      << log_.general();
}

}  // namespace
