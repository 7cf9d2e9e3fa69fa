// Results as inputs: what a writer wrote is read back and given to the writers once more. That the
// same bytes come out is tested with the command, since numbers go on within a process.

#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"
#include "hostcommon/session/Session.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/import/Recognition.h"
#include "writers/continuous/BinaryWriter.h"
#include "writers/continuous/JSONWriter.h"
#include "writers/text/SummaryWriter.h"
#include "writers/timeline/KorvellWriter.h"

namespace {

class ResultImportTest : public testing::Test {
 protected:
  ResultImportTest() { std::filesystem::current_path(folder_.path()); }

  /// What `tavrin report` does: gives a run to the writers, which write `base`. Returns the error.
  static std::string report(const std::vector<std::string>& files, const std::string& base,
                            bool continuous = false, unsigned int clockMHz = 0) {
    BinaryWriter binary;
    JSONWriter json;
    KorvellWriter timeline;
    SummaryWriter summary;
    std::unique_ptr<tavrin::Import> import;
    pwr::Session session({&binary, &json, &timeline, &summary});
    session.open(base, continuous);
    tavrin::ImportOptions options{.clockMHz = clockMHz};
    options.files = files;
    const auto input = tavrin::openInput(files.front(), nullptr);
    import = tavrin::openImport(*input, session, options);
    std::string error;
    const int status = import->replay(error);
    EXPECT_EQ(status, error.empty() ? 0 : 1);
    EXPECT_TRUE(session.finish().empty());
    return error;
  }
  static std::string recorded(const std::string& name) { return PW_TEST_DATA "/" + name; }

  TempFolder folder_;
  LogCapture log_;
};

TEST_F(ResultImportTest, WhatIsLostIsToldOnce) {
  ASSERT_EQ(report({recorded("recorded.jsonl")}, "run"), "");
  for (const char* name : {"run.ztbin", "run.ztjson", "run.pwr"}) {
    log_.clear();
    ASSERT_EQ(report({name}, "again"), "");
    const std::string log = log_.all();
    EXPECT_EQ(log.find(" has no "), log.rfind(" has no ")) << log;
    EXPECT_NE(log.find(" has no "), std::string::npos) << log;
    EXPECT_EQ(log.find("--clock"), std::string::npos) << log;
  }
}

TEST_F(ResultImportTest, ANumberedRunIsReadFromItsFirstFile) {
  // A flush in the middle makes two files, of which the second has new points of known series.
  const std::string stream = readFile(recorded("recorded.jsonl"));
  const std::size_t middle = stream.find('\n', stream.size() * 2 / 3) + 1;
  folder_.write("two", stream.substr(0, middle) + "{\"type\":\"flush\"}\n" + stream.substr(middle));
  ASSERT_EQ(report({folder_.path("two")}, "run", true), "");
  for (const std::string ending : {".ztbin", ".ztjson"}) {
    const std::vector<std::string> files{"run_0" + ending, "run_1" + ending};
    log_.clear();
    ASSERT_EQ(report({files[0]}, "one"), "");
    EXPECT_NE(log_.all().find("taken for 1000 MHz (--clock says another)"), std::string::npos);
    log_.clear();
    ASSERT_EQ(report(files, "all", false, 1000), "");
    EXPECT_EQ(log_.all().find("--clock"), std::string::npos);
    const auto sizeOf = [](const std::string& name) { return std::filesystem::file_size(name); };
    EXPECT_EQ(sizeOf("one.ztbin"), sizeOf("all.ztbin")) << ending;
    EXPECT_GT(sizeOf("all.ztbin"), sizeOf("run_0.ztbin"));
  }
  tavrin::ImportOptions options;
  options.files = {"run_1.ztbin", "run_0.ztbin"};
  EXPECT_EQ(tavrin::inRunOrder(options).files.front(), "run_0.ztbin");
  options.files = {"run_0.ztbin", "run_0.ztjson"};
  EXPECT_THROW(tavrin::inRunOrder(options), tavrin::CommandError);
}

TEST_F(ResultImportTest, ADamagedFileGivesWhatPrecedesTheDamage) {
  ASSERT_EQ(report({recorded("recorded.jsonl")}, "run"), "");
  for (const char* name : {"run.ztbin", "run.pwr"}) {
    const std::string whole = readFile(name);
    folder_.write("cut", whole.substr(0, whole.size() - 5));
    const std::string error = report({"cut"}, "again");
    EXPECT_TRUE(error.starts_with("cut: offset ")) << error;
    EXPECT_GT(std::filesystem::file_size("again.ztbin"), 3000U);
  }
}

}  // namespace
