// What the database writer does when its file cannot be had or filled.

#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "SqliteTestSupport.h"

namespace {

namespace fs = std::filesystem;
using pwr::Data;
using sqlite_test::query;
using sqlite_test::SqliteTest;

class SqliteFaultTest : public SqliteTest {
 protected:
  /// More than the cache holds, so that pages are written before the end.
  int writeLargeRun(const std::string& name) {
    SqliteWriter writer;
    if (writer.openOutput(folder_.path(name), false) != 0) return 1;
    const auto* const metric = pwr::createMetric({.name = "M"});
    pwr::Metric message(metric);
    const Data text(std::string(100'000, 'x'));
    for (unsigned long long n = 0; n < 100; ++n) {
      message.editData() = {n, {{text, nullptr, nullptr, 1}}};
      WriterDispatch::write(writer, message);
    }
    return writer.closeOutput();
  }
  std::size_t filesHere() const {
    const auto files = fs::directory_iterator(folder_.path());
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }
};

TEST_F(SqliteFaultTest, WhereverTheDiskIsFullTheLastGoodFileStays) {
  writer_.reset();
  ASSERT_EQ(writeLargeRun("run"), 0);
  const auto size = fs::file_size(path_);
  ASSERT_GT(size, 9U << 20U);
  constexpr std::size_t kSteps = 5;
  for (std::size_t step = 0; step <= kSteps; ++step) {
    const auto limit = step == kSteps ? size - 1 : size / kSteps * step;
    log_.clear();
    {
      const FullDisk full(limit);
      EXPECT_EQ(writeLargeRun("run"), 1) << limit;
    }
    EXPECT_NE(log_.errors().find("ERROR: "), std::string::npos) << limit;
    EXPECT_NE(log_.errors().find("File too large"), std::string::npos) << log_.errors();
    EXPECT_EQ(query(path_, "SELECT count(*) FROM point"), "100\n");
    EXPECT_LE(filesHere(), 2U);
    fs::remove(path_ + ".incomplete");
  }
  EXPECT_EQ(writeLargeRun("run"), 0);
  EXPECT_EQ(filesHere(), 1U);
}

TEST_F(SqliteFaultTest, EveryPageThatCannotBeWrittenOfASmallRun) {
  ASSERT_EQ(writer_->closeOutput(), 0);
  const auto size = fs::file_size(path_);
  for (std::size_t limit = 0; limit < size; limit += 4096) {
    const FullDisk full(limit);
    log_.clear();
    SqliteWriter writer;
    if (writer.openOutput(folder_.path("run"), false) == 0) {
      EXPECT_EQ(writer.closeOutput(), 1) << limit;
      EXPECT_EQ(fs::file_size(path_ + ".incomplete"), limit) << "what there is";
    }
    EXPECT_NE(log_.errors().find(path_), std::string::npos);
    EXPECT_NE(log_.errors().find("File too large"), std::string::npos) << log_.errors();
    EXPECT_EQ(query(path_, "PRAGMA integrity_check"), "ok\n");
  }
}

TEST_F(SqliteFaultTest, ARunThatLacksSomethingIsADatabaseUnderAnotherName) {
  sendSystem();
  sample(pwr::createMetric({.name = "M"}), 1, {{Data(1), nullptr, nullptr, 1}});
  g_pluginEnvironment->setRunIncomplete(true);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_EQ(query(path_ + ".incomplete", "SELECT metric, value FROM measurement"), "M|1\n");
}

TEST_F(SqliteFaultTest, OnlyARegularFileIsADatabase) {
  ASSERT_EQ(mkfifo(folder_.path("pipe.db").c_str(), 0600), 0);
  obstruct(folder_.path("folder.db"));
  for (const std::string name : {"pipe", "folder", "nowhere/run"}) {
    log_.clear();
    EXPECT_EQ(SqliteWriter().openOutput(folder_.path(name), false), 1);
    EXPECT_NE(log_.errors().find("ERROR: Could not create " + folder_.path(name) + ".db: "),
              std::string::npos)
        << log_.errors();
  }
  EXPECT_EQ(filesHere(), 3U) << "one is of the open writer";
}

// SQLite itself opens no path of more than 512 bytes.
TEST_F(SqliteFaultTest, AnyPathThatTheSystemTakes) {
  const std::string deep = makeDeepFolder(folder_);
  const fs::path before = fs::current_path();
  fs::current_path(deep);
  SqliteWriter writer;
  ASSERT_EQ(writer.openOutput("run", false), 0) << log_.all();
  fs::current_path(before);
  EXPECT_EQ(writer.closeOutput(), 0) << log_.all();
  EXPECT_TRUE(readFile(deep + "run.db").starts_with("SQLite format 3"));
}

}  // namespace
