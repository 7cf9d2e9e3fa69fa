#include <gtest/gtest.h>

#include <cmath>

#include "hostcommon/summary/TableBuilder.h"
#include "tavrin/compare/CompareReport.h"
#include "tavrin/compare/Comparison.h"
#include "tavrin/compare/RankTest.h"

namespace tavrin {
namespace {

/// A run that has one figure, "Power".
ComparedRun runWith(double value, unsigned long long start) {
  ComparedRun run;
  run.facts = {.host = "h", .startTicks = start, .seconds = 10.0};
  run.figures[{.metric = "Power"}] = {
      .value = value, .unit = "W", .seconds = 9.5, .isEnergy = true};
  return run;
}

std::vector<ComparedRun> runsWith(const std::vector<double>& values) {
  std::vector<ComparedRun> runs;
  runs.reserve(values.size());
  for (const double value : values) runs.push_back(runWith(value, runs.size() + 1));
  return runs;
}

TEST(RankTest, ProbabilitiesAreThoseOfTheDistribution) {
  struct Case {
    std::vector<double> a, b;
    double probability;
  };
  const Case cases[] = {
      {{1, 2, 3, 4}, {5, 6, 7, 8}, 2.0 / 70},  // 2 of the 70 choices are as far apart
      {{5, 6, 7, 8}, {1, 2, 3, 4}, 2.0 / 70},
      {{1, 3, 5, 7}, {2, 4, 6, 8}, 48.0 / 70},
      {{1, 2, 3}, {4, 5, 6, 7}, 2.0 / 35},
      {{1, 1, 1, 1}, {1, 1, 1, 1}, 1.0},
      {{1, 1, 2}, {2, 3, 3}, 4.0 / 20},  // ranks 1.5 1.5 3.5 3.5 5.5 5.5
      {{}, {1}, 1.0},
  };
  for (const Case& each : cases) {
    EXPECT_NEAR(rankTest(each.a, each.b), each.probability, 1e-12) << each.a.size();
  }
}

TEST(RankTest, ManyValuesAreLikeFew) {
  std::vector<double> a, b;
  for (int i = 0; i < 20; ++i) {
    a.push_back(i);
    b.push_back(i + 6.5);
  }
  const double exact = rankTest(a, b);
  a.push_back(9.25);
  b.push_back(16.25);
  EXPECT_GT(a.size() + b.size(), kMostExact);
  EXPECT_NEAR(rankTest(a, b), exact, 0.3 * exact);
}

TEST(RankTest, ManyTestsAreAdjusted) {
  const std::vector<double> adjusted = adjustForMany({0.01, 0.04, 0.03, 0.5});
  const double expected[] = {0.04, 0.16 / 3, 0.16 / 3, 0.5};
  for (std::size_t i = 0; i < adjusted.size(); ++i) EXPECT_NEAR(adjusted[i], expected[i], 1e-12);
}

TEST(Comparison, SaysHowSureAChangeIs) {
  struct Case {
    std::vector<double> a, b;
    double difference;
    std::optional<double> percent;
    double spread;
    bool exceedsSpread;
    std::optional<bool> isReal;
    std::string word;
  };
  const Case cases[] = {
      {{10}, {11}, 1, 10, 0, true, {}, ""},
      {{10}, {10}, 0, 0, 0, false, {}, ""},
      {{0}, {2}, 2, {}, 0, true, {}, ""},
      {{-10}, {-5}, 5, 50, 0, true, {}, ""},
      {{10, 12}, {11, 14}, 1.5, 1.5 / 11 * 100, 3, false, {}, "within the spread"},
      {{10, 11, 10}, {20}, 20 - 31.0 / 3, 100 * (60 - 31.0) / 31, 1, true, {}, "beyond the spread"},
      {{10, 11, 12, 13}, {20, 21, 22, 23}, 10, 1000 / 11.5, 3, true, true, "real"},
      {{10, 12, 14, 16}, {11, 13, 15, 17}, 1, 100 / 13.0, 6, false, false, "chance"},
  };
  for (const Case& each : cases) {
    const std::vector<ComparedRun> a = runsWith(each.a), b = runsWith(each.b);
    const std::vector<ComparedFigure> figures = compareRuns(a, b, {});
    ASSERT_EQ(figures.size(), 1U);
    const ComparedFigure& figure = figures.front();
    EXPECT_NEAR(figure.difference, each.difference, 1e-9);
    ASSERT_EQ(figure.percent.has_value(), each.percent.has_value());
    EXPECT_NEAR(figure.percent.value_or(0), each.percent.value_or(0), 1e-9);
    EXPECT_NEAR(figure.spread, each.spread, 1e-9);
    EXPECT_EQ(figure.exceedsSpread, each.exceedsSpread);
    EXPECT_EQ(figure.isReal(), each.isReal);
    const std::string text = compareText(a, b, figures, 0);
    EXPECT_NE(text.find(each.word), std::string::npos) << text;
    const char* const told = each.difference == 0 ? "1 did not change" : "9.500 / 9.500 s";
    EXPECT_NE(text.find(told), std::string::npos) << text;
  }
}

TEST(Comparison, WhatChangedMostComesFirst) {
  ComparedRun a = runWith(100, 1), b = runWith(101, 2);
  const auto add = [](ComparedRun& run, const char* name, double value) {
    run.figures[{.metric = name}] = {.value = value};
  };
  add(a, "Twice", 1);
  add(b, "Twice", 2);
  add(a, "Nothing became something", 0);
  add(b, "Nothing became something", 1);
  add(a, "Same", 5);
  add(b, "Same", 5);
  add(a, "Gone", 7);
  add(b, "New", 8);
  std::string order;
  for (const ComparedFigure& each : compareRuns({a}, {b}, {})) order += each.key.metric + "; ";
  EXPECT_EQ(order, "Nothing became something; Twice; Power; Same; Gone; New; ");
  order.clear();
  for (const ComparedFigure& each : compareRuns({a}, {b}, {"N*", "Same"})) {
    order += each.key.metric + "; ";
  }
  EXPECT_EQ(order, "Nothing became something; Same; New; ");
  EXPECT_NE(compareText({a}, {b}, compareRuns({a}, {b}, {}), 2)
                .find("3 more changed less (--top 0 shows all)\n"
                      "1 did not change\n"),
            std::string::npos);
}

TEST(RunFigures, WhatACommandUsedIsCompared) {
  const pwr::SystemMetadata system({.collectionDurationSec = 2.0});
  RunFigures figures;
  figures.system(system);
  const auto deliver = [&figures](const char* title, const char* column) {
    pwr::TableBuilder table(1, 0, title, "");
    table.column("Name");
    table.column(column);
    table.row({pwr::Data("Elapsed Time (ms)"), pwr::Data(1462.5)});
    table.row({pwr::Data("Page Faults"), pwr::Data(7)});
    table.row({pwr::Data("Cycles"), pwr::Data("n/a")});
    table.deliver([&figures](const pwr::TableMessage& message) { figures.table(message); });
  };
  deliver("Command Summary", "Value");
  deliver("Other Summary", "Count");
  std::string text;
  for (const auto& [key, figure] : figures.take().figures) {
    text += key.metric + "/" + key.descriptor + " " + nameOf(key.form) + "=" +
            std::to_string(figure.value) + figure.unit + " of " + std::to_string(figure.seconds) +
            "\n";
  }
  EXPECT_EQ(text,
            "Command/Elapsed Time total=1462.500000ms of 2.000000\n"
            "Command/Page Faults total=7.000000 of 2.000000\n");
}

TEST(Comparison, FilesOfARunAreOneRun) {
  ComparedRun other = runWith(3, 1);
  other.figures[{.metric = "Frequency"}] = {.value = 2};
  ComparedRun wall = runWith(4, 1);
  wall.facts.startNs = 5;
  ComparedRun laterWall = runWith(5, 1);
  laterWall.facts.startNs = 6;
  const std::vector<ComparedRun> runs =
      mergeFilesOfRuns({runWith(1, 1), other, runWith(2, 2), runWith(7, 0), runWith(8, 0)});
  ASSERT_EQ(runs.size(), 4U);
  EXPECT_EQ(runs[0].figures.at({.metric = "Power"}).value, 1);
  EXPECT_EQ(runs[0].figures.at({.metric = "Frequency"}).value, 2);
  EXPECT_EQ(mergeFilesOfRuns({wall, laterWall}).size(), 2U) << "the counters agree by chance";
}

TEST(Comparison, OtherMachinesAreTold) {
  std::vector<ComparedRun> a = runsWith({1, 2}), b = runsWith({3});
  EXPECT_TRUE(linesOfDifferentFacts(a, b).empty());
  b[0].facts.host = "other";
  b[0].facts.clock = "19.2 MHz";
  a[1].facts.processor = "new";
  const std::vector<std::string> lines = linesOfDifferentFacts(a, b);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], "not the same host: 'h' and 'other'");
  EXPECT_EQ(lines[1], "not the same processor: '', 'new' and ''");
  EXPECT_EQ(lines[2], "not the same timestamp clock: '' and '19.2 MHz'");
}

TEST(ChangeBound, IsPassedInItsDirection) {
  struct Case {
    const char* bound;
    double before, after;
    bool isPassed;
  };
  const Case cases[] = {
      {"+5%", 100, 105, false}, {"+5%", 100, 106, true}, {"+5%", 100, 90, false},
      {"-5%", 100, 94, true},   {"-5%", 100, 95, false}, {"-5%", 100, 110, false},
      {"5", 100, 94, true},     {"5%", 100, 106, true},  {"+5%", 0, 1, true},
      {"-5%", 0, 1, false},     {"0%", 1, 1, false},     {"+0%", 1, 1.001, true},
  };
  for (const Case& each : cases) {
    const auto bound = ChangeBound::parse(each.bound);
    ASSERT_TRUE(bound);
    const auto figures = compareRuns(runsWith({each.before}), runsWith({each.after}), {});
    EXPECT_EQ(bound->isPassedBy(figures.front()), each.isPassed)
        << each.bound << " " << each.before << " " << each.after;
  }
  const auto noisy = compareRuns(runsWith({10, 12}), runsWith({12, 14}), {});
  EXPECT_FALSE(ChangeBound::parse("1%")->isPassedBy(noisy.front())) << "within the spread";
  for (const char* wrong : {"", "+", "%", "five", "+-5%", "5%%", "5 %", "nan", "-nan%"}) {
    EXPECT_FALSE(ChangeBound::parse(wrong)) << wrong;
  }
}

TEST(CompareReport, MachinesGetAllDigitsAndGaps) {
  const std::vector<ComparedRun> a = runsWith({1.0 / 3}), b = runsWith({0.5});
  std::vector<ComparedFigure> figures = compareRuns(a, b, {});
  figures.front().key.entity = "a \"b\", c";
  EXPECT_EQ(compareCsv(figures),
            "metric,entity,descriptor,figure,unit,a,a_spread,a_runs,a_seconds,b,b_spread,b_runs,"
            "b_seconds,difference,percent,spread,beyond_spread,chance\n"
            "Power,\"a \"\"b\"\", c\",,mean,W,0.3333333333333333,0,1,9.5,0.5,0,1,9.5,"
            "0.16666666666666669,50.00000000000001,0,1,\n");
  const std::string json = compareJson(a, b, figures);
  EXPECT_NE(json.find(R"("entity":"a \"b\", c","descriptor":"","figure":"mean")"),
            std::string::npos)
      << json;
  EXPECT_NE(json.find(R"("chance":null)"), std::string::npos) << json;
  EXPECT_NE(json.find(R"("a":[{"host":"h")"), std::string::npos) << json;
}

}  // namespace
}  // namespace tavrin
