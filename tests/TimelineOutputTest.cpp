#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "TimelineTestSupport.h"

namespace {

using pwr::Data;
using storage_test::ScarceStorage;
using timeline_test::kFailed;
using timeline_test::kPrefix;
using timeline_test::Rig;

const std::string kNoFile =
    "Note: A .pwr result file was not created. No supported metric was found.\n";

class TimelineOutputTest : public timeline_test::TimelineTest {
 protected:
  /// For EXPECT_EXIT: writes the log to standard error.
  [[noreturn]] void runAndExit(const std::function<void()>& body) {
    body();
    std::fputs(log_.all().c_str(), stderr);
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder_.path());
    std::exit(HasFailure() ? 1 : 0);
  }
};
class TimelineScarceTest : public TimelineOutputTest,
                           public testing::WithParamInterface<storage_test::ScarceKind> {};

TEST_F(TimelineOutputTest, Streams) {
  Rig rig;
  rig.output.setMetricName(3, "Load");
  EXPECT_TRUE(rig.output.isSupported(3));
  for (const std::uint64_t key : {5U, 3U, 2U, 5U}) EXPECT_EQ(rig.writeEmpty(key), 0);
  for (const std::uint32_t metric : {3U, 5U, 6U}) rig.output.markUnsupported(metric);
  EXPECT_FALSE(rig.output.isSupported(3));
  EXPECT_EQ(rig.writeEmpty(5), 1);
  EXPECT_EQ(rig.file().size(), 22U);
  std::string notes;
  for (const std::string name : {"Load", "unknown_metric 5", "metric 6"}) {
    notes += "Note: The .pwr file will not contain data associated with '" + name +
             "'. This metric is not supported for visualization in Korvell(TM).\n";
  }
  EXPECT_EQ(log_.all(), notes);
  EXPECT_EQ(filesHere(), 1U);
}

TEST_F(TimelineOutputTest, WhatCouldBeWrittenStandsBeside) {
  folder_.write("run.pwr", "the last good one");
  Rig full;
  for (const std::uint64_t key : {3U, 4U, 5U}) EXPECT_EQ(full.writeEmpty(key), 0);
  const std::string log = logOf(1, [&] {
    const FullDisk disk(30);  // the stores need 22 each
    return full.output.close();
  });
  EXPECT_TRUE(log.starts_with(
      "ERROR: Could not write run.pwr completely: File too large. What there is stands in "
      "run.pwr.incomplete.\n" +
      kFailed + "backing store './_"))
      << log;
  EXPECT_TRUE(log.ends_with("' buffer to main output file. \n")) << log;
  EXPECT_EQ(std::ranges::count(log, '\n'), 2);
  EXPECT_EQ(readFile("run.pwr"), "the last good one");
  EXPECT_EQ(readFile("run.pwr.incomplete").size(), 30U);
  EXPECT_EQ(filesHere(), 2U);
}

TEST_F(TimelineOutputTest, FoldersThatAreMissing) {
  Rig missing(false, "missing/run");
  EXPECT_EQ(missing.writeEmpty(3), 0);
  EXPECT_EQ(logOf(1, [&] { return missing.output.close(); }),
            kPrefix + "Could not create missing/run.pwr\n");
}

TEST_F(TimelineOutputTest, StoresThatCannotBeMadeAreToldOnce) {
  Rig some(false, folder_.path("run"));
  Rig none;
  EXPECT_EQ(some.writeEmpty(2), 0);
  std::filesystem::create_directory("gone");
  std::filesystem::current_path("gone");
  std::filesystem::remove("../gone");
  for (Rig* rig : {&some, &none}) {
    EXPECT_NE(logOf(1, [&] { return rig->writeEmpty(3); }), "");
    EXPECT_EQ(logOf(1, [&] { return rig->writeEmpty(3); }), "");
    EXPECT_FALSE(rig->output.isSupported(3));
  }
  EXPECT_EQ(some.writeEmpty(2), 0);
  std::filesystem::current_path(folder_.path());
  EXPECT_TRUE(logOf(1, [&] { return none.output.close(); }).ends_with(kNoFile));
  EXPECT_EQ(some.output.close(), 1);
  EXPECT_EQ(filesHere(), 1U);
  EXPECT_EQ(readFile("run.pwr.incomplete").size(), 2 * 22U);
}

TEST_F(TimelineOutputTest, OnlyDataMakesAFile) {
  Rig first;
  first.writeEmpty(3);
  EXPECT_EQ(first.output.close(), 0);
  const std::string lastGood = readFile("run.pwr");
  const std::function<void(Rig&)> kWithoutData[] = {
      [](Rig& /*rig*/) {},
      [](Rig& rig) { rig.infos.getTextId("text"); },
      [](Rig& rig) {
        rig.writeEmpty(3);
        rig.output.markUnsupported(3);
      },
  };
  for (const auto& write : kWithoutData) {
    Rig rig;
    write(rig);
    EXPECT_TRUE(logOf(0, [&] { return rig.output.close(); }).ends_with(kNoFile));
    EXPECT_EQ(filesHere(), 1U);
    EXPECT_EQ(readFile("run.pwr"), lastGood);
  }
}

TEST_P(TimelineScarceTest, NoRecordIsCutInHalf) {
  ScarceStorage storage(GetParam(), folder_.path("scarce"));
  if (!storage.works()) GTEST_SKIP() << "this user may not mount";
  Rig rig;
  std::string accepted;
  const auto write = [&](int number) {
    const std::vector<std::byte> record(1013, static_cast<std::byte>(number));
    if (rig.output.writeRecord(1, record.data(), record.size()) != 0) return false;
    accepted.append(record.size(), static_cast<char>(number));
    return true;
  };
  for (int i = 0; write(i % 100); ++i) ASSERT_LT(i, 10000);
  EXPECT_FALSE(write(101));
  EXPECT_NE(log_.all().find(kPrefix + "Failed to write to tmp file ./_"), std::string::npos);
  storage.makeRoom();
  EXPECT_TRUE(write(102));
  EXPECT_EQ(rig.writeEmpty(2), 0);
  EXPECT_EQ(rig.output.close(), 1);
  const std::string text = readFile("run.pwr.incomplete");
  EXPECT_EQ(text.size(), accepted.size() + 22);
  EXPECT_TRUE(text.starts_with(accepted));
}
INSTANTIATE_TEST_SUITE_P(, TimelineScarceTest,
                         testing::ValuesIn(storage_test::kKindsOfScarceStorage),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_F(TimelineOutputTest, OncePerProcess) {
  const std::string realNote =
      "The generated .pwr file can only be visualized in Korvell 2018 Update 3 or later\n";
  const std::string manyNote =
      "Note: The generated .pwr result file can only be imported in Korvell(TM) 2018 Update 2 or "
      "later.\n";
  const auto addReals = [](bool legacy) {
    Rig rig(legacy);
    AttributeList list;
    const Data range(Data::RealPair(1.5, 2.5));
    const Data real(1.5);
    for (const Data* data : {&range, &range, &real, &real}) {
      rig.data.addDataValue(data, nullptr, &list, false, nullptr);
    }
  };
  const auto addTo = [](std::uint32_t count) {
    AttributeList list;
    list.count = count;
    DataRecords::addAttribute(pwrfile::AttributeType::Info, 1, &list);
  };
  const std::vector<std::pair<std::function<void()>, std::string>> cases = {
      {[&] { addReals(false), addReals(false); }, realNote + realNote},
      {[&] { addReals(true); }, ""},
      {[&] { addTo(256), addTo(256); }, manyNote},
      {[&] { addTo(255), addTo(256); }, ""},
  };
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // anew from the executable
  for (const auto& [body, log] : cases) {
    // NOLINTNEXTLINE: what GoogleTest allocates here it also deletes
    EXPECT_EXIT(runAndExit(body), testing::ExitedWithCode(0), testing::Eq(log));
  }
}

}  // namespace
