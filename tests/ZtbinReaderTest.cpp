// The readers of the continuous formats: what they reject and where they say so, and that both
// formats of one recorded stream hold the same points.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <set>
#include <sstream>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "hostcommon/session/Session.h"
#include "readers/ZtbinReader.h"
#include "readers/ZtjsonReader.h"
#include "tavrin/platform/InputFile.h"
#include "tavrin/stream/StreamReader.h"
#include "writers/continuous/BinaryWriter.h"
#include "writers/continuous/JSONWriter.h"

namespace {

/// What the files of one run say, as text; the fault that ended them comes last.
std::string readRun(const std::vector<std::string>& files) {
  std::ostringstream text;
  ztbin::ZtbinReader reader;
  try {
    for (const std::string& bytes : files) {
      std::istringstream file(bytes);
      reader.readFile(file, [&](const ztbin::Point& point) {
        text << point.timestamp << ' ' << point.duration << ' '
             << reader.text(reader.metrics().at(point.metric).name) << ' ' << reader.text(point.key)
             << ' ' << reader.text(reader.descriptor(point.descriptor).name) << ' ' << point.value
             << '\n';
      });
    }
  } catch (const FormatError& fault) {
    text << fault.what();
  }
  return text.str();
}

class ReaderTest : public testing::Test {
 protected:
  /// Replays a recorded stream into both writers.
  void replay(const std::string& stream, const std::string& name, bool continuous) {
    BinaryWriter binary;
    JSONWriter json;
    pwr::Session session({&json, &binary});
    tavrin::InputFile file(std::string(PW_TEST_DATA "/") + stream);
    tavrin::StreamReader reader(file, session);
    session.open(folder_.path(name), continuous);
    std::string error;
    ASSERT_EQ(reader.replay(error), 0) << error;
    if (continuous) session.flush();
    ASSERT_TRUE(session.finish().empty());
  }
  /// One of the files of a run.
  std::string recorded() {
    replay("recorded.jsonl", "run", false);
    return readFile(folder_.path("run.ztbin"));
  }

  TempFolder folder_;
  LogCapture log_;
};

TEST_F(ReaderTest, FilesOfARunAreReadInOrder) {
  replay("stream-all-kinds.jsonl", "run", true);
  const std::string first = readFile(folder_.path("run_0.ztbin"));
  const std::string second = readFile(folder_.path("run_1.ztbin"));
  EXPECT_EQ(readRun({first, second}).rfind("offset"), std::string::npos);
  EXPECT_EQ(readRun({second, first}),
            "offset 0: expected strings, with which a run begins, found a system record, as in a "
            "later file");
  EXPECT_EQ(readRun({""}), "offset 0: expected a system record, found the end of the file");
  std::string stranger = second;
  ++stranger[3];
  EXPECT_NE(readRun({first, stranger})
                .find("offset 3: expected the collection start of the files before, 1000, found "
                      "1001, of another run"),
            std::string::npos);
}

TEST_F(ReaderTest, FaultsNameTheirPlace) {
  const std::string sound =
      std::string("\4\0\0\1\0\0\0", 7) + std::string("\x0B\0\0\2\0\7\0UNKNOWN", 14) +  // 7
      std::string("\x40\0\1", 3) + std::string(40, '\0') +                             // 21
      std::string("\1\0\1\0\1\0\1\0\1\0\0\0\0\0\0\0\0\0\1\0\1\0\1\0", 24) +
      std::string("\6\0\2\1\0\1\0\1\0", 9) +                                 // 88
      std::string("\x1A\0\3\5\0\0\0\1\0\1\0\2\0\0\0\0\0\0\0\1\0\1\0", 23) +  // 97
      std::string("\1\0\1\0\2\0", 6) +                                       // 120
      std::string("\x18\0\4\7\0\0\0\0\0\0\0\0\0\0\0\5\0\0\0\1\0\1\0\0\0\x80\x3F", 27);
  ASSERT_EQ(readRun({sound}), "7 0    1\n");
  const struct {
    std::size_t at;
    char byte;
    const char* fault;
  } cases[] = {
      {0, 5, "offset 5: expected the low byte of the length 1, found 0"},
      {2, 5, "offset 2: expected a record type from 0 to 4, found type 5"},
      {3, 2,
       "offset 3: expected string index 1, with which a run begins, found 2, of a later file"},
      {6, 1, "offset 6: expected the byte 0, found 1"},
      {7, 2, "offset 7: expected size 4 for a string record, found size 2"},
      {23, 2,
       "offset 21: expected exactly one system record before records of other types, found type 2"},
      {21, 63, "offset 21: expected size 64 for a system record, found size 63"},
      {64, 3, "offset 64: expected a string index from 1 to 2, found 3"},
      {86, 2, "offset 86: expected once more the string index 1, found 2"},
      {90, 1,
       "offset 88: expected exactly one system record before records of other types, found a "
       "second one"},
      {90, 0, "offset 90: expected a record type from 1 to 4, found type 0"},
      {91, 2, "offset 91: expected descriptor id 1, found 2"},
      {108, 1, "offset 108: expected the index of a metric kind, found that of \"\""},
      {110, 1, "offset 110: expected 0, there being no quantity yet, found 1"},
      {114, 2, "offset 114: expected 0 or 1, found 2"},
      {114, 1, "offset 110: expected a string index from 1 to 2, found 0"},
      {116, 2, "offset 97: expected size 30 for a metric record, found size 26"},
      {122, 2, "offset 122: expected a descriptor id from 1 to 1, found 2"},
      {124, 0, "offset 124: expected a string index from 1 to 2, found 0"},
      {126, 23, "offset 126: expected size 24 for a point record, found size 23"},
      {140, '\x3F', "offset 137: expected a whole duration, found 0.5"},
      {141, 6, "offset 141: expected the id of a known metric, found 6"},
      {145, 0, "offset 145: expected a string index from 1 to 2, found 0"},
      {147, 0, "offset 147: expected a descriptor id from 1 to 1, found 0"},
  };
  for (const auto& [at, byte, fault] : cases) {
    std::string faulty = sound;
    faulty[at] = byte;
    EXPECT_EQ(readRun({faulty}), fault);
  }
  const std::string system = sound.substr(21, 67), metric = sound.substr(97, 29);
  const std::string point = sound.substr(126), string3("\4\0\0\3\0\0\0", 7);
  std::string earlier = point, otherKey = point;
  earlier[3] = 6;
  otherKey[19] = 2;
  const std::pair<std::vector<std::string>, const char*> runs[] = {
      {{sound, system + metric + point},
       "7 0    1\noffset 70: expected a new metric id, found 5, which is known"},
      {{sound + earlier},
       "7 0    1\noffset 156: expected a time, as the series has had it, of 7 or later, found 6"},
      {{sound, system + earlier},
       "7 0    1\noffset 70: expected a time, as the series has had it, of 7 or later, found 6"},
      {{sound.substr(0, 126) + otherKey},
       "offset 145: expected a key of \"\", the point's metric, found \"UNKNOWN\""},
      // What was cut off shows by what nothing refers to.
      {{sound.substr(0, 126)},
       "offset 126: expected a point of metric 5, found the end of the file"},
      {{sound.substr(0, 97)},
       "offset 97: expected a record that refers to descriptor 1, found the end of the file"},
      {{sound.substr(0, 88)},
       "offset 88: expected a record that refers to string 2, \"UNKNOWN\", found the end of the "
       "file"},
      {{sound, string3 + system + point},
       "7 0    1\n7 0    1\noffset 101: expected a record that refers to string 3, \"\", found the "
       "end of the file"},
  };
  for (const auto& [files, fault] : runs) EXPECT_EQ(readRun(files), fault);
}

TEST_F(ReaderTest, NothingCrashesIt) {
  const std::string sound = recorded();
  const std::string whole = readRun({sound});
  ASSERT_EQ(std::ranges::count(whole, '\n'), 162);
  // Up to the point that is the first one of the last series, a cut shows.
  std::set<std::uint16_t> keys;
  std::size_t points = 0, needed = 0;
  std::istringstream file(sound);
  ztbin::ZtbinReader().readFile(file, [&](const ztbin::Point& point) {
    ++points;
    if (keys.insert(point.key).second) needed = points;
  });
  EXPECT_LT(needed, 40U);
  for (std::size_t size = 0; size < sound.size(); ++size) {
    const std::string text = readRun({sound.substr(0, size)});
    const std::size_t missing = sound.size() - size;
    const std::size_t fault = text.rfind("offset ");
    EXPECT_EQ(fault == std::string::npos, missing % 27 == 0 && missing / 27 <= points - needed);
    EXPECT_TRUE(whole.starts_with(text.substr(0, fault))) << size;
    EXPECT_LE(fault == std::string::npos ? 0 : std::stoul(text.substr(fault + 7)), size);
  }
  std::mt19937 random(testSeed());
  int rejected = 0;
  for (int n = 0; n < 4000; ++n) {
    std::string faulty = sound;
    for (auto faults = random() % 3 + 1; faults > 0; --faults) {
      faulty[random() % faulty.size()] = static_cast<char>(random());
    }
    rejected += readRun({faulty}).rfind("offset ") != std::string::npos ? 1 : 0;
  }
  EXPECT_GT(rejected, 1000) << "half of the file is numbers, of which every one is as good";
}

std::string readTraces(const std::vector<std::string>& documents) {
  ztjson::ZtjsonReader reader;
  try {
    for (const std::string& document : documents) {
      std::istringstream file(document);
      reader.readFile(file, [](const ztjson::Point&) {});
    }
  } catch (const FormatError& fault) {
    return fault.what();
  }
  return {};
}

TEST_F(ReaderTest, FaultyTracesAreRejected) {
  const std::string head =
      R"({"fileType":"tavrin","version":{"major":1},"systemMetaData":{"platform":{},"os":{},)"
      R"("tavrin":{}},"data":{"M":{"metaData":{"type":"UNKNOWN","altUnits":[],"states":["A"]},)"
      R"("data":{"C":{"name":"C","friendlyName":"C","points":[{"x":5,"x1":)";
  const std::pair<std::string, const char*> cases[] = {
      {head + R"(6,"y":{"0":1.5}}]}}}}})", ""},
      {head + R"(6,"y":1},{"x":4,"x1":9,"y":{"0":1}},{"x":4,"x1":9,"y":2}]}}}}})",
       "/data/M/data/C/points/2/x: expected a time of 5 or later, as the series has had, found 4"},
      {head + R"(4,"y":{"0":1.5}}]}}}}})",
       "/data/M/data/C/points/0/x1: expected an end that is not before the start, found 4"},
      {head + R"(6,"y":{"1":1.5}}]}}}}})",
       "/data/M/data/C/points/0/y/1: expected an index of \"states\" as key, found the number 1.5"},
      {head + R"(6,"y":{"0":}}]}}}}})",
       "offset 244: expected a JSON document, found a fault: Invalid value."},
      {head + R"(6,"y":"a"}]}}}}})", "/data/M/data/C/points/0/y: expected a number, found \"a\""},
      {head + R"(6,"y":1}]},"C":{}}}}})",
       "/data/M/data/C: expected each container once, found an object of 0 members"},
      {R"({"fileType":"other"})", "/fileType: expected \"tavrin\", found \"other\""},
      {"[]", "/: expected an object, found an array of 0 elements"},
      {"{} {}",
       "offset 3: expected a JSON document, found a fault: The document root must not be followed "
       "by other values."},
      {std::string(100000, '['),
       "offset 17: expected at most 16 objects and arrays within each other, found one more"},
  };
  for (const auto& [document, fault] : cases) EXPECT_EQ(readTraces({document}), fault);
}

TEST_F(ReaderTest, FaultyNumberedFilesAreRejected) {
  const std::string head =
      R"({"Metadata":[{"FeatureName":"SystemMetadata","Name":"SystemMetadata","ID":-1,)"
      R"("Platform":{},"OS":{},"Tavrin":{"Collection Start Timestamp":"5"}})";
  const std::string node = R"(,{"FeatureName":"f","Name":"M","ID":-9,"Name":"M","Type":"UNKNOWN"})";
  const std::string first = head + node +
                            R"(],"Data":[{"ID":-9,"Entity":"E","Descriptor":"D","Timestamp":8,)"
                            R"("Duration":1.0,"Value":2.0}]})";
  const auto changed = [&](const std::string& from, const std::string& to) {
    return std::string(first).replace(first.find(from), from.size(), to);
  };
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{first, first}, ""},
      {{first, changed("8", "7")},
       "/Data/0/Timestamp: expected a time of 8 or later, as the series has had, found 7"},
      {{first, changed("\"5\"", "\"6\"")},
       "/Metadata/0/Tavrin/Collection Start Timestamp: expected \"5\", the start of the collection "
       "in the files before, found \"6\""},
      {{first, changed("\"M\",\"Type", "\"N\",\"Type")},
       "/Metadata/1: expected the name \"M\" as in the files before, found an object of 5 members"},
      {{head + node + node + "]}"},
       "/Metadata/2/ID: expected an ID that is new in this file, found -9"},
      {{changed("-9,\"Ent", "1,\"Ent")},
       "/Data/0/ID: expected the ID of a metric in \"Metadata\", found 1"},
      {{changed("-9", "2147483648")},
       "/Metadata/1/ID: expected a whole number from -2147483648 to 2147483647, found 2147483648"},
      {{changed("UNKNOWN", "UNKNOWNS")},
       "/Metadata/1/Type: expected a kind of metrics, found \"UNKNOWNS\""},
      {{R"({"Metadata":[],"Data":[]})"},
       "/Metadata: expected a node that describes the system, found an array of 0 elements"},
      {{first, R"({"fileType":"tavrin"})"},
       "/: expected a numbered file after another one, as only such a run has several files, found "
       "an object of 1 members"},
  };
  for (const auto& [documents, fault] : cases) EXPECT_EQ(readTraces(documents), fault);
}

// The first container of a group decides whether it lists states.
TEST_F(ReaderTest, StatesThatATraceDoesNotName) {
  const auto* const value = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("v", ""));
  pwr::Metric metric(pwr::createMetric({.name = "M"}));
  metric.editData().elements = {{pwr::Data(2), value, pwr::createEntity({.name = "Numbers"}), 0},
                                {pwr::Data("On"), value, pwr::createEntity({.name = "States"}), 3}};
  JSONWriter writer;
  writer.openOutput(folder_.path("run"), false);
  EXPECT_EQ(WriterDispatch::write(writer, metric), 0);
  EXPECT_EQ(writer.closeOutput(), 0);
  std::ifstream file(folder_.path("run.ztjson"));
  std::ostringstream points;
  ztjson::ZtjsonReader().readFile(file, [&](const ztjson::Point& point) {
    points << point.series << ' ' << point.values.at(0).first << ' ' << point.values.at(0).second
           << '\n';
  });
  EXPECT_EQ(points.str(), "Numbers y 2\nStates 0 3\n");
}

/// A point as both formats can tell it.
struct CommonPoint {
  std::string metric, entity, descriptor;
  std::uint64_t time;
  float duration, value;
  bool operator==(const CommonPoint&) const = default;
};

std::vector<CommonPoint> binaryPoints(const std::string& bytes) {
  std::vector<CommonPoint> points;
  ztbin::ZtbinReader reader;
  std::istringstream file(bytes);
  reader.readFile(file, [&](const ztbin::Point& point) {
    const std::string& metric = reader.text(reader.metrics().at(point.metric).name);
    const std::string& key = reader.text(point.key);
    const std::string entity = key == metric ? "" : key.substr(metric.size() + 1);
    EXPECT_EQ(key, entity.empty() ? metric : metric + "/" + entity);
    points.push_back({metric, entity, reader.text(reader.descriptor(point.descriptor).name),
                      point.timestamp, point.duration, point.value});
  });
  return points;
}

std::vector<CommonPoint> jsonPoints(const std::string& document) {
  std::vector<CommonPoint> points;
  std::istringstream file(document);
  ztjson::ZtjsonReader reader;
  reader.readFile(file, [&](const ztjson::Point& point) {
    const auto& [descriptor, value] = point.values.at(0);
    points.push_back({reader.metrics()[point.metric].name, std::string(point.series),
                      std::string(descriptor), point.start,
                      static_cast<float>(std::trunc(point.duration)), static_cast<float>(value)});
  });
  return points;
}

TEST_F(ReaderTest, BothFormatsHoldTheSamePoints) {
  int run = 0;
  for (const auto& [stream, count] :
       {std::pair{"recorded.jsonl", 162U}, {"stream-all-kinds.jsonl", 4U}}) {
    replay(stream, "run", true);
    const std::string name = folder_.path("run_" + std::to_string(run++));
    const std::vector<CommonPoint> points = jsonPoints(readFile(name + ".ztjson"));
    EXPECT_EQ(points.size(), count);
    EXPECT_EQ(points, binaryPoints(readFile(name + ".ztbin")));
  }
}

}  // namespace
