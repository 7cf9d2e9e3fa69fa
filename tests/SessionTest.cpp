// The session that drives the writers and the library that they come from.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/session/Session.h"
#include "tavrin/OutputNames.h"
#include "tavrin/WrittenFiles.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/PlainText.h"
#include "writers/host/PluginCapability.h"
#include "writers/host/WriterPlugin.h"

using namespace tavrin;  // NOLINT: the tests are about this namespace
using pwr::Data;

namespace {

TEST(Session, LeavesOutWhatIsNotFinite) {
  const LogCapture log;
  pwr::Session session({});
  pwr::Metric metric(pwr::createMetric({.name = "Volts"}));
  for (int i = 0; i < 2; ++i) {
    metric.editData().elements = {{Data(std::nan("")), nullptr, nullptr, 0},
                                  {Data(1.0), nullptr, nullptr, 0},
                                  {Data(Data::RealPair(0, HUGE_VAL)), nullptr, nullptr, 0}};
    session.metric(metric);
    EXPECT_EQ(metric.getData().elements.size(), 1U);
  }
  EXPECT_EQ(
      log.general(),
      "tavrin: warning: a value of metric 'Volts' is not finite and is left out; further ones "
      "are left out silently\n");
}

/// A writer whose first flush fails and whose output can be closed all the same.
class OnceUnflushed : public WriterPlugin {
 public:
  OnceUnflushed() : WriterPlugin("once-unflushed") {
    addCapability(new pwr::WriterPluginCapability({}, "once", "", ".once", true));
  }
  int openOutput(const std::string&, bool) override { return 0; }
  int closeOutput() override { return 0; }
  bool flushContinuousResults(const pwr::SystemMetadata&) override { return flushes_++ > 0; }

 private:
  int flushes_ = 0;
};

TEST(Session, AFlushThatFailedIsNotForgotten) {
  const LogCapture log;
  OnceUnflushed writer;
  const pwr::SystemMetadata metadata{pwr::SystemDescription()};
  pwr::Session session({&writer});
  session.open("unused", true);
  session.system(metadata);
  session.flush();
  session.flush();
  EXPECT_EQ(session.finish(), std::vector<std::string>{"once"});
}

TEST(Session, LostEventsAreWarnedOf) {
  const LogCapture log;
  pwr::SystemMetadata metadata{pwr::SystemDescription()};
  pwr::Session session({});
  session.system(metadata);
  metadata.edit().lostEvents = {{"CPU0", 7}, {"CPU1", 0}};
  session.finish();
  EXPECT_EQ(log.general(), "tavrin: warning: 7 events of CPU0 are lost\n");
}

TEST(Session, OfManyMetricsThatAreNotFiniteAFewAreNamed) {
  const LogCapture log;
  pwr::Session session({});
  for (int i = 0; i < 25; ++i) {
    pwr::Metric metric(pwr::createMetric({.name = "M" + std::to_string(i)}));
    metric.editData().elements = {{Data(HUGE_VAL), nullptr, nullptr, 0}};
    for (int twice = 0; twice < 2; ++twice) session.metric(metric);
  }
  session.finish();
  const std::string& text = log.general();
  EXPECT_EQ(std::ranges::count(text, '\n'), 11);
  EXPECT_NE(text.find("metric 'M9' is not finite"), std::string::npos) << text;
  EXPECT_TRUE(text.ends_with(
      "\ntavrin: warning: values of 15 more metrics are not finite and are left out\n"))
      << text;
}

TEST(OutputNames, BaseNamesAreCutToWhatAllWritersShare) {
  const LogCapture log;
  const pwr::PluginLibraries plugins;
  const std::pair<const char*, const char*> cases[] = {
      {"run", "run"},
      {"run.csv", "run"},
      {"out/run_trace.csv", "out/run"},
      {"run.ztbin", "run"},
      {"run.csv.pwr", "run.csv"},
      {"v1.2", "v1.2"},
      {"run.txt.d", "run.txt.d"},
      {".hidden", ".hidden"},
  };
  for (const auto& [given, wanted] : cases) {
    EXPECT_EQ(OutputNames(given, plugins, {}, false).baseName(), wanted);
  }
  EXPECT_NE(log.all().find("the base name of the outputs is 'run': each"), std::string::npos);
  for (const char* wrong : {"", ".", "..", "dir/", "dir/.", ".csv", "dir/.pwr"}) {
    EXPECT_THROW(OutputNames(wrong, plugins, {}, false), CommandError) << wrong;
  }
}

TEST(OutputNames, FilesWithAnotherUseAreRefused) {
  const TempFolder folder;
  const pwr::PluginLibraries plugins;
  folder.write("input", "");
  std::filesystem::create_hard_link(folder.path("input"), folder.path("hard.csv"));
  folder.write("run_7.ztbin", "");
  folder.write("run_07x.ztbin", "");
  folder.write("run_.ztbin", "");
  const auto refuses = [&](const std::string& base, const std::string& other) {
    const OutputNames names(folder.path(base), plugins, plugins.select({"all"}), true);
    try {
      names.refuseSharedFiles();
      names.refuse(folder.path(other), "the input");
    } catch (const CommandError& error) {
      EXPECT_EQ(error.status(), kExitUsage);
      return true;
    }
    return false;
  };
  EXPECT_TRUE(refuses("hard", "input")) << "one file of two names";
  EXPECT_TRUE(refuses("run", "run.csv")) << "also where there is none yet";
  EXPECT_TRUE(refuses("run", "x/../run_phm.csv"));
  EXPECT_TRUE(refuses("run", "run_12.ztjson"));
  EXPECT_TRUE(refuses("run", "Automation_Summary.csv"));
  EXPECT_TRUE(refuses("Automation_Summary", "input")) << "two outputs of one name";
  EXPECT_FALSE(refuses("run", "input"));
  EXPECT_FALSE(refuses("run", "run_.ztbin"));
  EXPECT_FALSE(refuses("run", "other_12.ztbin"));
  const OutputNames names(folder.path("run"), plugins, plugins.select({"bin"}), true);
  ASSERT_EQ(names.leftovers().size(), 1U);
  EXPECT_EQ(names.leftovers().front().filename(), "run_7.ztbin");
  const OutputNames whole(folder.path("run"), plugins, plugins.select({"bin"}), false);
  EXPECT_TRUE(whole.leftovers().empty());
}

TEST(WrittenFiles, ManyNumberedOnesAreARange) {
  EXPECT_EQ(fileList({}), "");
  std::vector<std::string> names = {"b/run.csv", "b/run_1.ztbin", "b/run_0.ztbin", "a.d_07.x"};
  EXPECT_EQ(fileList(names), "a.d_07.x b/run.csv b/run_0.ztbin b/run_1.ztbin");
  for (int i = 2; i < 1000; ++i) names.push_back("b/run_" + std::to_string(i) + ".ztbin");
  for (const int i : {3, 4, 5, 8}) names.push_back("c_" + std::to_string(i) + ".ztbin.incomplete");
  EXPECT_EQ(fileList(names),
            "a.d_07.x b/run.csv b/run_0 … b/run_999.ztbin "
            "c_3 … c_5.ztbin.incomplete c_8.ztbin.incomplete");
}

TEST(PlainText, WhatCouldSteerATerminalIsEscaped) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain \\ 'text' \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", ""},
      {"\x1B[31m\n\x7F", "\\x1b[31m\\x0a\\x7f"},
      {"\xC2\x9B\xC2\xA0", "\\xc2\\x9b\xC2\xA0"},
      {"\xFF\xC3(\xE2\x82", "\\xff\\xc3(\\xe2\\x82"},
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80", "\\xc0\\x80\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80"},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(escaped(text), shown.empty() ? text : shown);
}

TEST(PlainText, AShellTakesALineApartAsItWas) {
  EXPECT_EQ(shellLine({"record", "--", "sh", "-c", "echo $HOME; it's", ""}),
            R"(record -- sh -c 'echo $HOME; it'\''s' '')");
  EXPECT_EQ(shellLine({"-o", "a\nb'\xFF\\"}), R"(-o $'a\x0ab\'\xff\\')");
}

}  // namespace
