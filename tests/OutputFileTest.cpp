// Final files: whole under their names or not at all, whatever happens meanwhile.

#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include "TestSupport.h"
#include "hostcommon/OutputFile.h"
#include "hostcommon/Platform.h"
#include "hostcommon/Temporaries.h"
#include "writers/host/HostFunctions.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

class OutputFileTest : public testing::Test {
 protected:
  void SetUp() override {
    g_pluginEnvironment->setOutputListener([this](const std::string& path, bool isComplete) {
      told_ += path.substr(folder_.path().size()) + (isComplete ? " whole;" : " part;");
    });
    folder_.write("run.csv", "the last good one");
  }
  void TearDown() override { g_pluginEnvironment->setOutputListener(nullptr); }

  std::string read(const std::string& name) const { return readFile(folder_.path(name)); }
  /// The names in the folder, sorted; a temporary one is shown as "tmp".
  std::string names() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      const std::string name = entry.path().filename().string();
      names.insert(name.starts_with(".tavrin-") ? "tmp" : name);
    }
    std::string text;
    for (const std::string& name : names) text += name + " ";
    return text;
  }

  LogCapture log_;
  TempFolder folder_;
  std::string told_;
};

TEST_F(OutputFileTest, AppearsWhenItIsComplete) {
  pwr::OutputFile file;
  ASSERT_TRUE(file.open(folder_.path("run.csv")));
  EXPECT_TRUE(file.write("new"));
  EXPECT_EQ(names(), "run.csv tmp ");
  EXPECT_EQ(read("run.csv"), "the last good one");
  EXPECT_EQ(told_, "");
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(names(), "run.csv ");
  EXPECT_EQ(read("run.csv"), "new");
  EXPECT_EQ(told_, "run.csv whole;");
  EXPECT_EQ(file.close(), 1) << "it is closed already";
}

TEST_F(OutputFileTest, LeavesNothingWithoutAClose) {
  for (const bool discarded : {false, true}) {
    pwr::OutputFile file;
    ASSERT_TRUE(file.open(folder_.path("run.csv")));
    file.write("new");
    if (discarded) file.discard();
  }
  EXPECT_EQ(names(), "run.csv ");
  EXPECT_EQ(read("run.csv"), "the last good one");
  EXPECT_EQ(told_, "");
}

TEST_F(OutputFileTest, WhatLacksSomethingStandsBeside) {
  pwr::OutputFile file;
  ASSERT_TRUE(file.open(folder_.path("run.csv")));
  file.write("half");
  file.noteFailure(ENOSPC);
  file.noteFailure(EIO);
  EXPECT_FALSE(file.write("more")) << "a failure stays";
  EXPECT_EQ(file.close(), 1);
  EXPECT_EQ(names(), "run.csv run.csv.incomplete ");
  EXPECT_EQ(read("run.csv"), "the last good one");
  EXPECT_EQ(read("run.csv.incomplete"), "half");
  EXPECT_EQ(told_, "run.csv.incomplete part;");
  EXPECT_EQ(log_.errors(), "ERROR: Could not write " + folder_.path("run.csv") +
                               " completely: No space left on device. What there is stands in " +
                               folder_.path("run.csv.incomplete") + ".\n");
  ASSERT_TRUE(file.open(folder_.path("run.csv"))) << "it can be used again";
  file.write("whole");
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(read("run.csv"), "whole");
}

TEST_F(OutputFileTest, NamesThatCannotBeHad) {
  pwr::OutputFile file;
  EXPECT_FALSE(file.open(folder_.path("nowhere/run.csv")));
  EXPECT_EQ(errno, ENOENT);
  obstruct(folder_.path("folder"));
  EXPECT_FALSE(file.open(folder_.path("folder")));
  EXPECT_EQ(errno, EISDIR);
  ASSERT_TRUE(file.open(folder_.path("late")));
  file.write("text");
  obstruct(folder_.path("late"));
  EXPECT_EQ(file.close(), 1);
  EXPECT_EQ(names(), "folder late late.incomplete run.csv ");
  EXPECT_EQ(read("late.incomplete"), "text");
}

TEST_F(OutputFileTest, AbortRemovesWhatIsTemporary) {
  // In a process of its own: whoever notes a temporary file after the removal waits for ever.
  const auto abortRun = [this] {
    pwr::OutputFile file;
    file.open(folder_.path("run.csv"));
    file.write("half");
    const std::string folder = pwr::platform::createPrivateDirectory(folder_.path());
    const std::string ownFolder = folder_.path();
    pwr::forgetTemporary(ownFolder.substr(0, ownFolder.size() - 1).c_str());
    pwr::OutputFile inside;
    inside.open(folder + "/table");
    pwr::removeTemporaries();
    std::_Exit(0);
  };
  EXPECT_EXIT(abortRun(), testing::ExitedWithCode(0), "");
  EXPECT_EQ(names(), "run.csv ");
}

#if !defined(_WIN32)

TEST_F(OutputFileTest, AFullDiskCostsOnlyTheNewFile) {
  for (const std::string& text : {std::string("short"), std::string(100'000, 'x')}) {
    pwr::OutputFile file;
    ASSERT_TRUE(file.open(folder_.path("run.csv")));
    const FullDisk full(3);
    file.write(text);  // what is short fails at close
    EXPECT_EQ(file.close(), 1);
    EXPECT_EQ(read("run.csv"), "the last good one");
    EXPECT_EQ(read("run.csv.incomplete"), text.substr(0, 3));
    std::filesystem::remove(folder_.path("run.csv.incomplete"));
  }
  pwr::OutputFile file;
  ASSERT_TRUE(file.open(folder_.path("run.csv")));
  const FullDisk full(0);
  file.write("nothing of it");
  EXPECT_EQ(file.close(), 1);
  EXPECT_EQ(names(), "run.csv ") << "an empty file would tell nothing";
}

TEST_F(OutputFileTest, LinksAreReplacedAndPipesWrittenTo) {
  folder_.write("elsewhere", "precious");
  std::filesystem::create_symlink(folder_.path("elsewhere"), folder_.path("link"));
  pwr::OutputFile file;
  ASSERT_TRUE(file.open(folder_.path("link")));
  file.write("new");
  EXPECT_EQ(file.close(), 0);
  EXPECT_EQ(read("elsewhere"), "precious");
  EXPECT_EQ(read("link"), "new");

  ASSERT_EQ(mkfifo(folder_.path("pipe").c_str(), 0600), 0);
  const int reader = open(folder_.path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_TRUE(file.open(folder_.path("pipe")));
  file.write("piped");
  file.noteLoss();
  EXPECT_EQ(file.close(), 1);
  char text[8] = {};
  EXPECT_EQ(::read(reader, text, sizeof text), 5);
  ::close(reader);
  EXPECT_STREQ(text, "piped");
  EXPECT_EQ(names(), "elsewhere link pipe run.csv ");
}

TEST_F(OutputFileTest, OthersMayReadItAsTheUserAllows) {
  const mode_t before = umask(027);
  pwr::OutputFile file;
  ASSERT_TRUE(file.open(folder_.path("run.csv")));
  EXPECT_EQ(file.close(), 0);
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(folder_.path("run.csv").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

#endif

}  // namespace
