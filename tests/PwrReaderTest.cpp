// The reader of timeline files: what it makes of a file that is put together here byte by byte,
// what it rejects and where it says so.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <tuple>

#include "PwrFileBuilder.h"
#include "TestSupport.h"
#include "hostcommon/session/Session.h"
#include "readers/PwrText.h"
#include "readers/ZtbinReader.h"
#include "tavrin/platform/InputFile.h"
#include "tavrin/stream/StreamReader.h"
#include "writers/continuous/BinaryWriter.h"
#include "writers/timeline/KorvellWriter.h"

namespace {

/// The text of a file; the fault that ended it comes last.
std::string read(const std::string& bytes) {
  std::string text;
  pwrfile::PwrReader reader;
  pwrfile::PwrText sink(reader, [&](const std::string& line) { text += line + "\n"; });
  std::istringstream file(bytes);
  try {
    reader.readFile(file, sink);
  } catch (const FormatError& fault) {
    text += fault.what();
  }
  EXPECT_LE(reader.infos().all().size() * pwrfile::info_record::kNames, bytes.size());
  return text;
}

std::string faultOf(const std::string& bytes) {
  const std::string text = read(bytes);
  const std::size_t fault = text.rfind('\n') + 1;
  return text.substr(fault);
}

/// The fault that "N something, found something" stands for, N being counted from `place`.
std::string placed(const std::string& fault, std::size_t place) {
  std::size_t length = 0;
  if (fault.empty()) return fault;
  const std::size_t offset = place + std::stoul(fault, &length);
  return "offset " + std::to_string(offset) + ": expected" + fault.substr(length);
}

TEST(PwrReaderTest, EveryRecordBecomesALine) {
  const std::string text = read(soundPwrFile().bytes);
  EXPECT_EQ(std::ranges::count(text, '\n'), 6 + 16 + 29 + 1 + 4) << text;
  EXPECT_EQ(text.substr(0, text.find("info")),
            "magic\n"
            "collection\tversion=1.2.3\n"
            "system\tarchitecture=x86_64\tversion=6.1.0.0\thost=lab\tplatform=P\tos=O\\x09S\n"
            "hardware\ttscHz=2000\tbits=64\tcpuId=06 8f 01\tcpus=0/0/0 0/0/1\n"
            "start\ttsc=4000\ttime=2023-11-14 22:13:20.0000005 UTC\n"
            "frequency\tcpuMHz=2400\n");
  for (const char* line : {"101\tinfo_type_info\tmetric_type\tmetric_type\t\t0\t-\n",
                           "1\tmetric_type\tSampled Finite Set Counter\tSFSC\t\t4\t-\n",
                           "13\tquantity\tEnergy\tmJ\tmultiplier 0.001\t5\t12 (Power)\n",
                           "15\tentity\tPackage0/Core0\tCore0\tCore\t0\t14 (Package0)\n",
                           "21\tmetric_type_id\tCores\tSampled Counter\t\t8\t20 (Cores)\n",
                           "22\ttab_group_id\tCores\tPower\t\t10 (Power)\t20 (Cores)\n",
                           "26\tstate\tC6\tC6\t\t17 (C6)\t20 (Cores)\n",
                           "41\tthread\tThread 502\t502\tstart 2 end 9\t502\t40 (/bin/a)\n"}) {
    EXPECT_NE(text.find("\ninfo\t" + std::string(line)), std::string::npos) << line;
  }
  EXPECT_EQ(text.substr(text.find("info\t42\t")),
            "info\t42\tnameid_attribute\twoke\\x09up\twoke\\x09up\t\t0\t-\n"
            "magic\n"
            "data\t5000\tMETRIC=Cores\tENTITY=Package0/Core0\tFIELD=Energy\tQUANTITY=Energy\t"
            "REAL=1.5\tCOLOR=C6\tDURATION=2000\n"
            "data\t4000\tMETRIC=Cores\tENTITY=Package0/Core0\tINT=-3\tINFO=woke\\x09up\n"
            "data\t6000\tMETRIC=Cores\tQUANTITY=Power\tUINT_LOWER_BOUND=1\tUINT_UPPER_BOUND=2\n"
            "data\t7000\tMETRIC=Events\tPROCESS=/bin/a\tTHREAD=Thread 502\tINFO=woke\\x09up\t"
            "INFO=woke\\x09up\tDURATION=10\n");
  EXPECT_NE(read(soundPwrFile(1).bytes).find("REAL=4609434218613702656\t"), std::string::npos)
      << "reals of version 1 are whole numbers";
}

TEST(PwrReaderTest, FaultsNameTheirPlace) {
  const PwrFileBuilder sound = soundPwrFile();
  const struct {
    const char* record;
    std::size_t at;
    std::string bytes;
    const char* fault;  ///< at the offset of the bytes, or "+N ..." at that of the record
  } cases[] = {
      {"magic", 3, "\7", "+0 the first bytes of a record, found 0x7000000"},
      {"magic", 4, "\1", "the number 0xaddedefa, found 0xaddede01"},
      {"collection", 4, "\37", "+0 a collection info record of 34 bytes, found 35 bytes"},
      {"collection", 4, "\7", "a length of at least 8, found 7"},
      {"collection", 8, "\2", "version 1, found 2"},
      {"collection", 20, "\1", "the flags 0x80000000000, found 0x80000000001"},
      {"collection", 28, "\4", "the length 5, found 4"},
      {"collection", 29, "t", "\"power\", found \"tower\""},
      {"system", 12, "\7", "an architecture from 0 to 6, found 7"},
      {"system", 22, std::string(1, '\0'), "a length from 1 to 17, found 0"},
      {"system", 22, "\22", "a length from 1 to 17, found 18"},
      {"system", 27, "x", "the closing byte 0, found 120"},
      {"hardware", 20, "\1", "once more the frequency 2000, found 1793"},
      {"hardware", 15, "\1\1", "+12 a frequency from 1 to 4294967295 Hz, found 4311746512"},
      {"hardware", 28, std::string(1, '\0'),
       "the address mask 0xffffffffffffffff, found 0xffffffffffffff00"},
      {"hardware", 36, "\41", "32 or 64 bits, found 33"},
      {"hardware", 40, "\xFF\xFF\xFF\xFF", "the number of CPUs 2, found 4294967295"},
      {"start", 0, std::string("\0\0\x40\2", 4), "a collection start record, found another record"},
      {"start", 8, "\3", "the byte 2, found 3"},
      {"frequency", 61, "\1", "the byte 0, found 1"},
      {"info 10", 14, std::string("\107\0\6", 3),
       "the kind of info records 0x70048, found 0x60047"},
      {"info 10", 18, "\1", "the version 2, found 1"},
      {"info 101", 18, "\3", "version 1 or 2, found 3"},
      {"info 10", 20, "\145", "the id 102 of the type \"tab_group\", found 101"},
      {"info 10", 24, "\1", "the value 0, found 1"},
      {"info 11", 28, "\14", "the id of a record of type \"tab_group\", found 12, which is none"},
      {"info 10", 28, "\1", "no parent, 0xffffffff, found 0xffffff01"},
      {"info 15", 28, "\15",
       "the id of a record of type \"entity\", found 13, which has type \"quantity\""},
      {"info 11", 32, "\12", "an id that is new, and neither 0 nor all ones, found 10"},
      {"info 11", 36, "\6", "+0 an info record of 70 bytes, found 69 bytes"},
      {"info 10", 54, "x", "the name of a type, found \"xab_group\""},
      {"info 2", 24, "\4", "a metric class that is not described yet, found 4"},
      {"info 2", 44, "v", "\"Value\" and \"Value\", found \"value\" and \"Value\""},
      {"info 17", 24, "\1",
       "24 bits of colour, with their digits as short name, found #000101 and \"#0001FF\""},
      {"info 30", 24, "\7", "the number of a metric that is not described yet, found 7"},
      {"info 21", 24, "\3", "a metric class from 4 to 9, found 3"},
      {"info 32", 28, "\24", "a metric that has no such relation yet, found 20"},
      {"info 42", 74, "x", "the closing byte 0, found 120"},
      {"closing", 0, std::string("\x20\0\0\x22", 4),
       "an info record or a magic record, found another record"},
      {"data 1", 5, "\1", "+4 a time that is not before the collection's start, found 392"},
      {"data 1", 14, std::string("\110\0\7", 3), "the kind of data records 0x60047, found 0x70048"},
      {"data 1", 20, "\6", "+0 a data record of 94 bytes, found 106 bytes"},
      {"data 2", 20, std::string(2, '\0'), "from 1 to 2048 attributes, found 0"},
      {"data 1", 22, "\23", "an attribute type from 0 to 18, found 19"},
      {"data 1", 22, "\1", "METRIC, found ENTITY"},
      {"data 1", 26, "\17",
       "the id of a record of type \"metric\", found 15, which has type \"entity\""},
      {"data 1", 30, "\1",
       "+26 the id of a record of type \"metric\", found 4294967316, which is "
       "none"},
      {"data 1", 34, std::string(1, '\0'), "an attribute that may follow METRIC, found METRIC"},
      {"data 1", 46, "\5", "an attribute that may follow ENTITY, found CALL_STACK_FRAME"},
      {"data 1", 82, "\12", "an attribute that may follow REAL, found UINT"},
      {"data 1", 70, "\15", "an attribute that may follow QUANTITY, found INT_UPPER_BOUND"},
      {"data 3", 58, "\15", "UINT_UPPER_BOUND, found INT_UPPER_BOUND"},
  };
  for (const auto& [record, at, bytes, expected] : cases) {
    const std::size_t place = sound.places.at(record);
    std::string faulty = sound.bytes;
    faulty.replace(place + at, bytes.size(), bytes);
    const bool isElsewhere = *expected == '+';
    EXPECT_EQ(faultOf(faulty),
              placed(isElsewhere ? expected : std::to_string(at) + " " + expected, place));
  }
}

TEST(PwrReaderTest, AttributesHaveAnOrder) {
  const struct {
    PwrAttributes attributes;
    const char* fault;  ///< from the start of the record
  } cases[] = {
      {{{0, 30}, {8, 42}, {7, 17}, {8, 42}}, ""},
      {{{0, 30}, {8, 42}, {8, 42}, {7, 17}}, "58 an attribute that may follow INFO, found COLOR"},
      {{{0, 30}, {8, 42}, {9, 1}}, "46 an attribute that may follow INFO, found INT"},
      {{{0, 30}, {9, 1}, {18, 1}, {18, 1}},
       "58 an attribute that may follow DURATION, found DURATION"},
      {{{0, 30}, {6, 12}, {12, 1}}, "58 INT_UPPER_BOUND, found the end of the record"},
      {{{0, 30}, {18, 1}}, "0 a data record with a value or a text, found one without"},
      {PwrAttributes(2049, {0, 30}), "20 from 1 to 2048 attributes, found 2049"},
      {{{0, 20}, {9, 1}},
       "26 a metric with a number above 9, whose records came before, found 20 with number 7"},
  };
  for (const auto& [attributes, fault] : cases) {
    PwrFileBuilder file = soundPwrFile();
    file.data("last", 9000, attributes);
    EXPECT_EQ(faultOf(file.bytes), placed(fault, file.places["last"]));
  }
}

TEST(PwrReaderTest, FurtherInfosAreChecked) {
  const struct {
    std::uint32_t id;
    const char* type;
    std::string name;
    const char* fault;  ///< from the start of the record
  } cases[] = {
      {50, "nameid_attribute", std::string(383, 'x'), ""},
      {50, "nameid_attribute", std::string(384, 'x'), "36 names of at most 400 bytes, found 401"},
      {50, "info_type_info", "field", "44 a type that is not described yet, found \"field\""},
      {50, "info_type_info", "other", "44 the name of a type, found \"other\""},
      {20, "process", "p", "32 an id that is new, and neither 0 nor all ones, found 20"},
      {kNoPwrParent, "process", "p",
       "32 an id that is new, and neither 0 nor all ones, found 4294967295"},
  };
  for (const auto& [id, type, name, fault] : cases) {
    PwrFileBuilder file;
    putFixedPwrRecords(file);
    putPwrMetadata(file);
    file.info(id, type, name, "");
    file.magic("closing");
    EXPECT_EQ(faultOf(file.bytes), placed(fault, file.places["info " + std::to_string(id)]));
  }
}

TEST(PwrReaderTest, MetadataEndsOnce) {
  PwrFileBuilder file = soundPwrFile();
  file.magic("again");
  EXPECT_EQ(faultOf(file.bytes),
            placed("0 a data record, found another record", file.places["again"]));
  file = soundPwrFile();
  file.info(50, "field", "F", "F");
  EXPECT_EQ(faultOf(file.bytes),
            placed("14 the kind of data records 0x60047, found 0x70048", file.places["info 50"]));
  file = PwrFileBuilder();
  putFixedPwrRecords(file);
  file.info(50, "metric", "Bare", "bare", 10);
  file.magic("closing");
  file.data("data", 4000, {{0, 50}, {9, 1}});
  EXPECT_EQ(
      faultOf(file.bytes),
      placed("26 a metric that has a class, a tab group and a timeline group, found 50 without",
             file.places["data"]));
}

TEST(PwrReaderTest, NothingCrashesIt) {
  const PwrFileBuilder sound = soundPwrFile();
  for (std::size_t size = 0; size < sound.bytes.size(); ++size) {
    // A file that ends between two data records is one of fewer records.
    const bool isSound = std::ranges::any_of(sound.places, [&](const auto& place) {
      return place.second == size && place.first.starts_with("data");
    });
    const std::string fault = faultOf(sound.bytes.substr(0, size));
    EXPECT_EQ(fault.empty(), isSound) << size;
    const std::string start = "offset " + std::to_string(size) + ": expected ";
    EXPECT_TRUE(isSound || (fault.starts_with(start) && fault.ends_with("the end of the file")))
        << fault;
  }
  int rejected = 0;
  std::mt19937 random(testSeed());
  for (int n = 0; n < 5000; ++n) {
    std::string faulty = sound.bytes;
    for (auto faults = random() % 3 + 1; faults > 0; --faults) {
      faulty[random() % faulty.size()] = static_cast<char>(random());
    }
    rejected += faultOf(faulty).empty() ? 0 : 1;
  }
  EXPECT_GT(rejected, 2500) << "names and values may change without a fault";
}

/// A point as timeline file and binary stream can tell it: series, time, name, value.
using Point = std::tuple<std::string, std::uint64_t, std::string, float>;

class PointSink : public pwrfile::PwrSink {
 public:
  explicit PointSink(const pwrfile::PwrReader& reader) : reader_(reader) {}
  void data(const pwrfile::DataRecord& record) override {
    Point point{record.metric.longName, record.tsc, "", 0.0F};
    for (const auto& attribute : record.attributes) {
      const std::string text = pwrfile::PwrText::valueText(reader_, attribute);
      const std::string name = pwrfile::attributeName(attribute.type);
      if (name == "ENTITY") std::get<0>(point) += "/" + text;
      if (name == "FIELD") std::get<2>(point) = text;
      if (name == "UINT" || name == "REAL") std::get<3>(point) = std::stof(text);
    }
    points.push_back(point);
  }

  std::vector<Point> points;

 private:
  const pwrfile::PwrReader& reader_;
};

TEST(PwrReaderTest, ReadsBackWhatAWriterWrote) {
  const TempFolder folder;
  LogCapture log;
  KorvellWriter timeline;
  BinaryWriter binary;
  pwr::Session session({&timeline, &binary});
  tavrin::InputFile stream(PW_TEST_DATA "/recorded.jsonl");
  tavrin::StreamReader replay(stream, session);
  session.open(folder.path("run"), false);
  std::string error;
  ASSERT_EQ(replay.replay(error), 0) << error;
  ASSERT_TRUE(session.finish().empty());

  std::istringstream file(readFile(folder.path("run.pwr")));
  pwrfile::PwrReader reader;
  PointSink sink(reader);
  reader.readFile(file, sink);
  std::vector<Point> expected;
  std::istringstream other(readFile(folder.path("run.ztbin")));
  ztbin::ZtbinReader otherReader;
  otherReader.readFile(other, [&](const ztbin::Point& point) {
    expected.emplace_back(otherReader.text(point.key), point.timestamp,
                          otherReader.text(otherReader.descriptor(point.descriptor).name),
                          point.value);
  });
  std::ranges::sort(expected);
  std::ranges::sort(sink.points);
  EXPECT_EQ(sink.points.size(), 162U);
  EXPECT_EQ(sink.points, expected);
}

}  // namespace
