// The one face of the formats that can be read back: what it tells of a run, whichever format the
// run has, and what is left when a file is damaged.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <random>
#include <set>

#include "TestSupport.h"
#include "hostcommon/session/Session.h"
#include "readers/PlainText.h"
#include "readers/ResultReader.h"
#include "tavrin/platform/InputFile.h"
#include "tavrin/stream/StreamReader.h"
#include "writers/continuous/BinaryWriter.h"
#include "writers/continuous/JSONWriter.h"
#include "writers/timeline/KorvellWriter.h"

namespace {

using tavrin::ResultReader;

class ResultReaderTest : public testing::Test {
 protected:
  ResultReaderTest() { std::filesystem::current_path(folder_.path()); }

  /// Replays a recorded stream into the three writers.
  static void replay(const std::string& stream, bool continuous) {
    BinaryWriter binary;
    JSONWriter json;
    KorvellWriter timeline;
    pwr::Session session({&binary, &json, &timeline});
    tavrin::InputFile file(std::string(PW_TEST_DATA "/") + stream);
    tavrin::StreamReader reader(file, session);
    session.open("run", continuous);
    std::string error;
    ASSERT_EQ(reader.replay(error), 0) << error;
    ASSERT_TRUE(session.finish().empty());
  }

  TempFolder folder_;
  LogCapture log_;
};

/// One line per point; the fault that ended them comes last.
std::vector<std::string> lines(const std::vector<std::string>& files) {
  std::vector<std::string> text;
  try {
    ResultReader reader(files);
    tavrin::Point point;
    while (reader.next(point)) {
      const tavrin::Series& series = reader.series()[point.series];
      const tavrin::Metric& metric = reader.metrics()[series.metric];
      const std::string_view entity =
          series.entity == tavrin::kNone ? "-" : reader.entities()[series.entity].qualifiedName;
      std::string line = std::to_string(point.time) + " " + numberText(std::trunc(point.duration));
      for (const std::string_view part : {metric.name, entity, series.descriptor, metric.units}) {
        line += "|" + std::string(part);
      }
      line += "|";
      line += point.text == tavrin::kNone ? numberText(static_cast<float>(point.value))
                                          : std::string(reader.texts()[point.text]);
      text.push_back(line);
    }
  } catch (const tavrin::ResultError& fault) {
    text.push_back(fault.what());
  }
  return text;
}

std::multiset<std::string> pointsOf(const std::vector<std::string>& all,
                                    const std::string& metric) {
  std::multiset<std::string> points;
  for (const std::string& line : all) {
    if (line.find("|" + metric + "|") != std::string::npos) points.insert(line);
  }
  return points;
}

TEST_F(ResultReaderTest, ARunIsTheSameInEveryFormat) {
  replay("recorded.jsonl", false);
  const std::vector<std::string> binary = lines({"run.ztbin"});
  const std::vector<std::string> timeline = lines({"run.pwr"});
  const std::vector<std::string> trace = lines({"run.ztjson"});
  EXPECT_GT(binary.size(), 100U);
  for (const char* metric : {"CPU C-State", "System Activity"}) {
    EXPECT_GT(pointsOf(binary, metric).size(), 2U) << metric;
    EXPECT_EQ(pointsOf(binary, metric), pointsOf(timeline, metric));
    EXPECT_EQ(pointsOf(binary, metric).size(), pointsOf(trace, metric).size());
  }
}

TEST_F(ResultReaderTest, TellsTheClockAndTheSystem) {
  replay("recorded.jsonl", false);
  for (const char* name : {"run.ztbin", "run.ztjson", "run.pwr"}) {
    ResultReader reader({name});
    const tavrin::Clock clock = reader.clock();
    EXPECT_EQ(clock.mhz, 1000.0) << name;
    EXPECT_GT(clock.start, 0U) << name;
    bool hasHost = false;
    for (const tavrin::Fact& fact : reader.system()) {
      hasHost = hasHost || (fact.name == "Host Name" && fact.value == "vm");
    }
    EXPECT_TRUE(hasHost) << name;
    EXPECT_GT(reader.metrics().size(), 3U) << name;
  }
}

TEST_F(ResultReaderTest, TheContentDecides) {
  replay("recorded.jsonl", false);
  for (const char* name : {"run.ztbin", "run.ztjson", "run.pwr"}) {
    const std::vector<std::string> points = lines({name});
    std::filesystem::rename(name, "result.dat");
    EXPECT_EQ(lines({"result.dat"}), points);
    const std::string other = std::string(name) == "run.pwr" ? "as.ztbin" : "as.pwr";
    std::filesystem::rename("result.dat", other);
    EXPECT_EQ(lines({other}), points);
  }
  folder_.write("notes.txt", "nothing of the kind");
  folder_.write("empty.pwr", "");
  const std::pair<std::vector<std::string>, const char*> kFaults[] = {
      {{}, "no file is given"},
      {{"none.pwr"}, "cannot read none.pwr: No such file or directory"},
      {{"."}, "cannot read .: it is a folder"},
      {{"notes.txt"}, "notes.txt: its content is none of .ztbin, .ztjson and .pwr"},
      {{"empty.pwr"}, "empty.pwr: offset 0: expected a magic record, found the end of the file"},
  };
  for (const auto& [files, fault] : kFaults) {
    EXPECT_EQ(lines(files), std::vector<std::string>{fault});
  }
}

TEST_F(ResultReaderTest, NumberedFilesAreOneRun) {
  replay("stream-all-kinds.jsonl", true);
  for (const std::string ending : {".ztbin", ".ztjson"}) {
    const std::vector<std::string> first = lines({"run_0" + ending});
    std::vector<std::string> both = lines({"run_0" + ending, "run_1" + ending});
    EXPECT_GT(both.size(), first.size());
    both.resize(first.size());
    EXPECT_EQ(both, first);
    const std::string twice = lines({"run_0" + ending, "run_0" + ending}).back();
    EXPECT_TRUE(twice.starts_with("run_0" + ending + ": ") || ending == ".ztjson") << twice;
  }
  EXPECT_EQ(lines({"run.pwr", "run.pwr"}).back(),
            "run.pwr: only continuous runs have several files");
}

TEST_F(ResultReaderTest, ColumnsHoldWhatThePointsHold) {
  replay("stream-all-kinds.jsonl", false);
  for (const char* name : {"run.ztbin", "run.ztjson", "run.pwr"}) {
    ResultReader byPoint({name});
    ResultReader byColumn({name});
    tavrin::PointColumns columns;
    while (byColumn.read(columns, 7) > 0) {
    }
    tavrin::Point point;
    std::size_t at = 0;
    for (; byPoint.next(point); ++at) {
      ASSERT_LT(at, columns.time.size());
      EXPECT_EQ(columns.time[at], point.time);
      EXPECT_EQ(columns.series[at], point.series);
      EXPECT_EQ(columns.text[at], point.text);
      EXPECT_EQ(numberText(columns.value[at]), numberText(point.value));
      EXPECT_EQ(numberText(columns.duration[at]), numberText(point.duration));
    }
    EXPECT_EQ(at, columns.time.size());
    EXPECT_FALSE(byPoint.next(point));
  }
}

TEST_F(ResultReaderTest, WhatPrecedesTheDamageIsThere) {
  replay("recorded.jsonl", false);
  std::mt19937 random(testSeed());
  for (const char* name : {"run.ztbin", "run.ztjson", "run.pwr"}) {
    const std::string whole = readFile(name);
    const std::vector<std::string> sound = lines({name});
    for (int n = 0; n < 40; ++n) {
      std::string cut = whole.substr(0, random() % whole.size());
      folder_.write(name, cut);
      std::vector<std::string> points = lines({name});
      const bool hasFault = points.back().starts_with(name);
      if (hasFault) points.pop_back();
      EXPECT_TRUE(hasFault || std::string(name) != "run.ztjson" || cut.size() + 1 == whole.size());
      ASSERT_LE(points.size(), sound.size());
      EXPECT_TRUE(std::equal(points.begin(), points.end(), sound.begin()));
    }
  }
}

TEST_F(ResultReaderTest, AFaultStaysAndSoDoesWhatWasRead) {
  replay("recorded.jsonl", false);
  folder_.write("cut",
                readFile("run.ztbin").substr(0, std::filesystem::file_size("run.ztbin") - 5));
  ResultReader reader({"cut"});
  tavrin::PointColumns columns;
  EXPECT_THROW(reader.read(columns, 1'000'000), tavrin::ResultError);
  EXPECT_EQ(columns.time.size(), 161U);
  tavrin::Point point;
  EXPECT_THROW(reader.next(point), tavrin::ResultError);
  EXPECT_EQ(reader.metrics()[reader.series()[columns.series[0]].metric].name, "CPU C-State");
}

}  // namespace
