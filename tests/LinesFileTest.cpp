// The files of the writer "lines": members of gzip that reach the disk as they fill up, numbered
// files of continuous runs, writes that fail at any place.

#include <gtest/gtest.h>

#include <functional>

#include "LinesTestSupport.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMember = std::size_t{256} * 1024;
constexpr unsigned int kPoints = 20'000;

const pwr::MetricDescription* const g_metric = pwr::createMetric({.name = "Load"});

/// Points that do not pack well: some hundred kilobytes.
void deliverMany(LinesTrial& trial, unsigned long long from = 0) {
  for (unsigned int n = 0; n < kPoints; ++n) {
    const double value = static_cast<double>(n) * 0.618033988749895;
    trial.deliver(g_metric, from + n * 997ULL, {{pwr::Data(value), nullptr, nullptr, 0}});
  }
}

void deliverOne(LinesTrial& trial, unsigned long long time) {
  trial.deliver(g_metric, time, {{pwr::Data(time), nullptr, nullptr, 0}});
}

Lines oneLine(unsigned long long time) {
  return {"load,host=lab value=" + std::to_string(time) + " " +
          std::to_string(1'000'000'000'000 + time)};
}

TEST(LinesFile, MembersReachTheFileAsTheyFillUp) {
  LinesTrial trial;
  deliverMany(trial);
  std::size_t before = 0;
  for (const auto& file : fs::directory_iterator(trial.path(""))) before += fs::file_size(file);
  EXPECT_EQ(trial.close(), 0);
  const std::vector<std::string> members = membersOf(readFile(trial.path("run.lp.gz")));
  ASSERT_GE(members.size(), 3U);
  EXPECT_GE(before, fs::file_size(trial.path("run.lp.gz")) / members.size());
  std::size_t lines = 0;
  for (const std::string& member : members) {
    EXPECT_LE(member.size(), kMember);
    EXPECT_TRUE(member.ends_with('\n')) << "members have whole lines";
    lines += static_cast<std::size_t>(std::ranges::count(member, '\n'));
  }
  EXPECT_EQ(lines, kPoints);
}

TEST(LinesFile, OneWithoutLinesCanBeUnpacked) {
  LinesTrial trial;
  EXPECT_FALSE(trial.flush()) << "a run of one file";
  EXPECT_EQ(trial.finish(), Lines());
}

TEST(LinesFile, NumberedOnesHaveSomeLinesEach) {
  LinesTrial trial({}, true);
  EXPECT_TRUE(trial.flush());
  deliverOne(trial, 1);
  EXPECT_TRUE(trial.flush());
  EXPECT_EQ(trial.files(), (Lines{"run_0.lp.gz"})) << "complete, whatever becomes of the run";
  EXPECT_TRUE(trial.flush());
  deliverOne(trial, 2);
  deliverOne(trial, 3);
  EXPECT_TRUE(trial.flush());
  deliverOne(trial, 4);
  EXPECT_EQ(trial.close(), 0);
  EXPECT_EQ(trial.files(), (Lines{"run_0.lp.gz", "run_1.lp.gz", "run_2.lp.gz"}));
  EXPECT_EQ(linesOf(trial.path("run_0.lp.gz")), oneLine(1));
  EXPECT_EQ(linesOf(trial.path("run_1.lp.gz")), (Lines{oneLine(2)[0], oneLine(3)[0]}));
  EXPECT_EQ(linesOf(trial.path("run_2.lp.gz")), oneLine(4));
  LinesTrial empty({}, true);
  EXPECT_EQ(empty.close(), 0);
  EXPECT_EQ(empty.files(), Lines());
}

#if !defined(_WIN32)

TEST(LinesFile, ANumberedOneThatFailsCostsItsOwnLines) {
  LinesTrial trial({}, true);
  deliverOne(trial, 1);
  EXPECT_TRUE(trial.flush());
  {
    const FullDisk full(kMember / 8);
    deliverMany(trial, 10);
    EXPECT_FALSE(trial.flush());
  }
  EXPECT_NE(trial.log().errors().find("run_1.lp.gz completely"), std::string::npos);
  deliverOne(trial, 2);
  EXPECT_TRUE(trial.flush());
  EXPECT_EQ(trial.close(), 1);
  EXPECT_EQ(trial.files(), (Lines{"run_0.lp.gz", "run_1.lp.gz.incomplete", "run_2.lp.gz"}));
  EXPECT_EQ(linesOf(trial.path("run_2.lp.gz")), oneLine(2));
}

TEST(LinesFile, ANumberedOneThatCannotBeCreatedIsToldOnce) {
  LinesTrial trial({}, true);
  deliverOne(trial, 1);
  EXPECT_TRUE(trial.flush());
  const std::string folder = trial.path("");
  fs::rename(folder, folder.substr(0, folder.size() - 1) + ".away");
  deliverOne(trial, 2);
  deliverOne(trial, 3);
  EXPECT_FALSE(trial.flush());
  const std::string told = trial.log().errors();
  EXPECT_EQ(told.find("ERROR: Could not create "), told.rfind("ERROR: ")) << told;
  fs::rename(folder.substr(0, folder.size() - 1) + ".away", folder);
  deliverOne(trial, 4);
  EXPECT_TRUE(trial.flush());
  EXPECT_EQ(trial.close(), 1) << "two lines are lost";
  EXPECT_EQ(trial.files(), (Lines{"run_0.lp.gz", "run_1.lp.gz"}));
  EXPECT_EQ(linesOf(trial.path("run_1.lp.gz")), oneLine(4));
}

TEST(LinesFile, EachWriteThatFailsLeavesTheMembersBefore) {
  std::string good;
  {
    LinesTrial trial;
    deliverMany(trial);
    ASSERT_EQ(trial.close(), 0);
    good = readFile(trial.path("run.lp.gz"));
  }
  for (std::size_t limit = 0; limit < good.size(); limit += good.size() / 5) {
    SCOPED_TRACE(limit);
    LinesTrial trial;
    {
      const FullDisk full(limit);
      deliverMany(trial);
      EXPECT_EQ(trial.close(), 1);
    }
    if (limit == 0) {
      EXPECT_EQ(trial.files(), Lines()) << "without a byte it would only be in the way";
      continue;
    }
    EXPECT_EQ(trial.files(), (Lines{"run.lp.gz.incomplete"}));
    const std::string kept = readFile(trial.path("run.lp.gz.incomplete"));
    EXPECT_LE(kept.size(), limit);
    EXPECT_EQ(kept, good.substr(0, kept.size()));
  }
}

#endif

}  // namespace
