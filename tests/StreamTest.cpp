#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "hostcommon/Descriptions.h"
#include "tavrin/platform/InputFile.h"
#include "tavrin/stream/JsonLine.h"
#include "tavrin/stream/RecordReplay.h"
#include "tavrin/stream/StreamReader.h"
#include "tavrin/stream/StreamWriter.h"
#include "tests/TestSupport.h"
#include "writers/host/DataDescriptor.h"

namespace {

using tavrin::StreamReader;
using tavrin::StreamWriter;

constexpr const char* kHeader = "{\"type\":\"tavrin-stream\",\"version\":2}\n";
constexpr const char* kFirstHeader = "{\"type\":\"tavrin-stream\",\"version\":1}\n";
constexpr const char* kStart =
    "{\"type\":\"tavrin-stream\",\"version\":2}\n"
    "{\"type\":\"system\",\"clockMHz\":1000,\"startTimestamp\":1000}\n";

/// A C stream in a temporary file. (Not of std::tmpfile, which may fail on Windows.)
class TempStream {
 public:
  TempStream() {
    if (file_ == nullptr) std::abort();
  }
  ~TempStream() {
    file_.reset();
    pwr::platform::removeFile(path_);
  }
  TempStream(const TempStream&) = delete;
  TempStream& operator=(const TempStream&) = delete;

  FILE* get() const { return file_.get(); }
  std::string text() const {
    std::rewind(file_.get());
    std::string text;
    for (int c = std::getc(file_.get()); c != EOF; c = std::getc(file_.get())) {
      text.push_back(static_cast<char>(c));
    }
    return text;
  }

 private:
  static std::string newPath() {
    static const TempFolder folder;
    static int count = 0;
    return folder.path(std::to_string(++count));
  }

  std::string path_ = newPath();
  std::unique_ptr<FILE, int (*)(FILE*)> file_{pwr::platform::createExclusive(path_.c_str()),
                                              std::fclose};
};

/// Records what it is given and keeps what the tests look at.
class Recorder : public pwr::MessageSink {
 public:
  void system(const pwr::SystemMetadata& given) override {
    metadata = &given;
    writer.system(given);
  }
  void container(const pwr::MetricContainerInfoMessage& m) override { writer.container(m); }
  void metric(pwr::Metric& m) override {
    writer.metric(m);
    values.clear();
    for (const pwr::DataElement& e : m.getData().elements) values.push_back(*e.getValue());
  }
  void remainder(pwr::Metric& m) override { writer.remainder(m); }
  void table(const pwr::TableMessage& m) override { writer.table(m); }
  void text(const pwr::TextMessage& m) override {
    writer.text(m);
    if (m.getMessage() == "enough") stop.request();
  }
  void id(const pwr::IdMessage& m) override { writer.id(m); }
  void flush() override { writer.flush(); }

  std::string text() {
    EXPECT_EQ(writer.close(), 0);
    return out.text();
  }

  TempStream out;
  StreamWriter writer{out.get()};
  const pwr::SystemMetadata* metadata = nullptr;
  std::vector<pwr::Data> values;
  tavrin::StopRequest stop;
};

/// The replay of a file "s" with the given text.
struct Replay {
  explicit Replay(const std::string& text) {
    folder().write("s", text);
    tavrin::InputFile in(folder().path("s"), &sink.stop);
    reader = std::make_unique<StreamReader>(in, sink);
    status = reader->replay(error);
    for (const std::string& warning : reader->warnings()) cut += warning;
    for (std::string* message : {&error, &cut}) {
      if (!message->empty()) message->erase(0, folder().path().size());
    }
  }
  static const TempFolder& folder() {
    static const TempFolder folder;
    return folder;
  }

  Recorder sink;
  std::unique_ptr<StreamReader> reader;
  std::string error;
  std::string cut;
  int status = 0;
};

std::string example() {
  return readFile(PW_TEST_DATA "/stream-all-kinds.jsonl");
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// Numbers of the lines, counted from 1, that the schema refuses, or "failed" when there is none to
/// ask.
std::string refusedBySchema(const std::string& text) {
  const TempFolder folder;
  folder.write("lines", text);
  const std::string command =
      "/usr/bin/python3 -c 'import json,sys,jsonschema as j\n"
      "s=json.load(open(sys.argv[1])); j.Draft7Validator.check_schema(s)\n"
      "v=j.Draft7Validator(s)\n"
      "for n,l in enumerate(open(sys.argv[2],newline=\"\\n\"),1):\n"
      "  if not v.is_valid(json.loads(l)): print(n,end=\" \")\n"
      "' " PW_TEST_DATA "/../../docs/formats/recorded-stream.schema.json " +
      folder.path("lines");
  FILE* const pipe = popen(command.c_str(), "r");
  std::string numbers;
  for (int c = std::getc(pipe); c != EOF; c = std::getc(pipe)) {
    numbers.push_back(static_cast<char>(c));
  }
  const bool sound = pclose(pipe) == 0;
  return sound ? numbers : "failed";
}

TEST(Stream, ReplayRecordsTheSameBytes) {
  Replay replay(example());
  EXPECT_EQ(replay.error, "");
  replay.sink.writer.stop(*replay.sink.metadata);
  EXPECT_EQ(replay.sink.text(), example());
  if (!kIsWindows) {
    EXPECT_EQ(refusedBySchema(example()), "");
  }

  // Members that the reader and the writer mixed up alike would pass unseen above.
  const pwr::SystemMetadata& system = *replay.sink.metadata;
  EXPECT_EQ(system.getDescription().tscFrequencyMHz, 2419.2F);
  EXPECT_EQ(system.getTscFrequencyMHz(), 1000.0F) << "times are ticks of the timestamp clock";
  EXPECT_EQ(system.getCPUFrequencyMHz(), 2400.0F);
  EXPECT_EQ(system.getHFMFrequencyMHz(), 4900.0F);
  EXPECT_EQ(system.getLFMFrequencyMHz(), 800.0F);
  EXPECT_EQ(system.getBusFrequencyMHz(), 100.0F);
  EXPECT_EQ(system.getOSType() + " " + system.getOSVersion(), "x86_64 6.1.0");
  EXPECT_EQ(system.getTopTree().getNumModules(), 1U);
  EXPECT_EQ(system.getTopTree().getNumPackages(), 2U);
  EXPECT_EQ(system.getCollectionStopTimestamp(), 6000U);
  const pwr::Process& process = system.getProcesses().at(0);
  EXPECT_EQ(process.getEndTime(), 5500U);
  EXPECT_EQ(process.getName(), "workload");
  EXPECT_EQ(process.getEarlierImages().at(0).path, "/bin/sh");
  EXPECT_EQ(process.getEarlierImages().at(1).endTime, 1800U);
  EXPECT_EQ(system.getThreads().at(0).getName(), "a) b (\u00fc");
  EXPECT_EQ(system.getLostEvents().at(0).source, "buffer of CPU1");
}

TEST(Stream, CpusThatCameLaterAreInTheStopRecord) {
  const std::string start = std::string(kHeader) +
                            "{\"type\":\"system\",\"clockMHz\":1000,\"topology\":[[0,null,0,0]]}\n";
  const std::string stop =
      "{\"type\":\"stop\",\"timestamp\":9,\"topology\":[[0,null,0,0],[1,null,4,8]],"
      "\"processes\":[],\"threads\":[]}\n";
  Replay replay(start + stop);
  EXPECT_EQ(replay.error, "");
  EXPECT_EQ(replay.sink.metadata->getTopTree().getNumThreads(), 2U);
  EXPECT_EQ(replay.sink.metadata->getTopTree().getNumPackages(), 2U);
  if (!kIsWindows) {
    EXPECT_EQ(refusedBySchema(start + stop), "");
  }
}

TEST(Stream, TheFirstVersionIsRead) {
  const std::string stop =
      "{\"type\":\"stop\",\"timestamp\":9,\"processes\":[{\"pid\":7,"
      "\"path\":\"/bin/sh\",\"end\":8}],\"threads\":[]}\n";
  const std::string records = std::string(kStart).substr(std::string(kHeader).size()) + stop;
  Replay replay(kFirstHeader + records);
  EXPECT_EQ(replay.error, "");
  const pwr::Process& process = replay.sink.metadata->getProcesses().at(0);
  EXPECT_EQ(process.getPath() + process.getName(), "/bin/sh");
  EXPECT_TRUE(process.getEarlierImages().empty());
  replay.sink.writer.stop(*replay.sink.metadata);
  EXPECT_EQ(replay.sink.text(), kHeader + records);
  EXPECT_TRUE(readFile(PW_TEST_DATA "/recorded.jsonl").starts_with(kFirstHeader));
}

TEST(Stream, NumbersAreExact) {
  const Replay replay(example().substr(0, example().find("{\"type\":\"flush\"}")));
  const std::vector<pwr::Data> expected = {
      pwr::Data(std::numeric_limits<unsigned long long>::max()),
      pwr::Data(std::numeric_limits<long long>::min()),
      pwr::Data(std::numeric_limits<long long>::max()),
      pwr::Data(-0.0),
      pwr::Data(std::numeric_limits<double>::denorm_min()),
      pwr::Data(std::nextafter(std::numeric_limits<double>::min(), 0.0)),
      pwr::Data(1e308),
      pwr::Data(std::numeric_limits<double>::max()),
      pwr::Data(0.1),
      pwr::Data(123456789.123456789),
  };
  EXPECT_EQ(replay.sink.values, expected);
  double zero = 1.0;
  EXPECT_EQ(replay.sink.values.at(3).toReal(zero), 0);
  EXPECT_TRUE(std::signbit(zero));
}

TEST(Stream, CutAnywhereDeliversTheCompleteLines) {
  const std::string whole = example();
  const std::vector<std::string> lines = linesOf(whole);
  std::size_t complete = 0;   // lines, the last one with or without its line feed
  std::size_t start = 0;      // of the line that follows them
  std::size_t delivered = 0;  // end of the last of them that is a message
  for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
    if (complete < lines.size() && cut == start + lines[complete].size()) {
      const std::string& line = lines[complete++];
      start = cut + 1;
      const bool silent = line.find("\"id\":") != std::string::npos || complete == 1 ||
                          line.starts_with("{\"type\":\"stop\"");
      if (!silent) delivered = start;
    }
    Replay replay(whole.substr(0, cut));
    ASSERT_EQ(replay.status, complete > 1 ? 0 : 1) << cut << replay.error;
    ASSERT_EQ(replay.error.empty(), complete > 1);
    const bool within = complete > 1 && cut > start;
    ASSERT_EQ(replay.cut, within ? "s:" + std::to_string(complete + 1) +
                                       ": the stream ends within this record, which is left out"
                                 : "");
    ASSERT_EQ(replay.sink.text(), whole.substr(0, delivered)) << cut;
  }
}

TEST(Stream, FaultyLineEndsTheReplayWithItsCause) {
  const std::string definitions =
      "{\"type\":\"quantity\",\"id\":1}\n"
      "{\"type\":\"metric\",\"id\":2}\n"
      "{\"type\":\"handle\",\"id\":3}\n"
      "{\"type\":\"table\",\"id\":4,\"handles\":[3]}\n";
  const std::string before = "{\"type\":\"text\",\"text\":\"before\"}\n";
  enum Schema { Takes, Refuses, NoJson };
  struct Case {
    std::string line;
    std::string cause;
    Schema schema;
  };
  const std::string sample = R"({"type":"sample","metric":2,"time":0,"elements":[)";
  const std::vector<Case> cases = {
      {"{", "not valid JSON: Missing a name for object member (column 2)", NoJson},
      {"{} {}", "not valid JSON: The document root must not be followed by other values (column 4)",
       NoJson},
      {"{\"type\":\"\xff\"}", "not valid JSON: Invalid encoding in string (column 10)", NoJson},
      {std::string("{\"type\":\"flush\"}\0x", 18), "a NUL byte (column 17)", NoJson},
      {sample + "18446744073709551616]}", "a number is out of range (column 50)", Takes},
      {sample + "-9223372036854775809]}", "a number is out of range (column 50)", Takes},
      {sample + "1e400]}", "a number is out of range (column 50)", Takes},
      {sample + "NaN]}", "not valid JSON: Invalid value (column 50)", NoJson},
      {"[1]", "a record is a JSON object", Refuses},
      {"{}", "member \"type\" is missing", Refuses},
      {R"({"type":5})", "member \"type\" is not a string", Refuses},
      {R"({"type":"smaple"})", "unknown type of record: \"smaple\"", Refuses},
      {R"({"type":")" + std::string(100000, 'y') + "\"}",
       "unknown type of record: \"" + std::string(375, 'y') + "…", Refuses},
      {R"({"type":"flush","now":true})", "member \"now\" is unknown here", Refuses},
      {R"({"type":"flush","type":"flush"})", "member \"type\" is doubled", Takes},
      {R"({"type":"entity","name":"a"})", "member \"id\" is missing", Refuses},
      {R"({"type":"entity","id":1})", "id 1 is defined twice", Takes},
      {R"({"type":"entity","id":0})", "member \"id\" is 0, which is the quantity of time", Refuses},
      {R"({"type":"entity","id":-1})", "member \"id\" is out of range", Refuses},
      {R"({"type":"entity","id":"5"})", "member \"id\" is not an integer", Refuses},
      {R"({"type":"entity","id":5,"name":7})", "member \"name\" is not a string", Refuses},
      {R"({"type":"entity","id":5,"parent":5})", "member \"parent\" is id 5, which is not defined",
       Takes},
      {R"({"type":"entity","id":5,"parent":1})", "member \"parent\" is id 1, which is no entity",
       Takes},
      {R"({"type":"metric","id":5,"kind":"rate"})",
       "member \"kind\" is not one of value, delta, residency, transition, event", Refuses},
      {R"({"type":"metric","id":5,"combinations":[[null]]})",
       "member \"combinations\" is not an array of 2", Refuses},
      {R"({"type":"sample","metric":2,"elements":[]})", "member \"time\" is missing", Refuses},
      {R"({"type":"sample","metric":2,"time":1.5,"elements":[]})",
       "member \"time\" is not an integer", Refuses},
      {R"({"type":"sample","metric":2,"time":-1,"elements":[]})", "member \"time\" is out of range",
       Refuses},
      {R"({"type":"remainder","metric":2,"elements":[1]})",
       "member \"metric\" is not of kind delta or residency", Takes},
      {R"({"type":"remainder","metric":2,"time":0})", "member \"time\" is unknown here", Refuses},
      {sample + "[]]}", "member \"elements\" is not of elements with 1 to 5 items", Refuses},
      {sample + "[1,null,null,0,{},1]]}",
       "member \"elements\" is not of elements with 1 to 5 items", Refuses},
      {sample + "true]}", "member \"elements\" is not a value", Refuses},
      {sample + "{\"uint\":1}]}", "member \"uint\" is unknown here", Refuses},
      {sample + "{\"real\":\"NaN\"}]}", "member \"real\" is not one of nan, inf, -inf", Refuses},
      {R"({"type":"row","table":4,"cells":[1,2]})", "the row has 2 cells, its table 1", Takes},
      {R"({"type":"container","cells":[1]})", "member \"table\" is missing", Refuses},
      {R"({"type":"container","container":4294967296})", "member \"container\" is out of range",
       Refuses},
      {R"({"type":"system","clockMHz":1})", "unknown type of record: \"system\"", Takes},
      {R"({"type":"stop","timestamp":1,"processes":[{"pid":1,"earlier":[{"path":"a"}]}]})",
       "member \"end\" is missing", Refuses},
      {R"({"type":"stop","timestamp":1,"processes":[{"pid":1,"earlier":{"end":1}}]})",
       "member \"earlier\" is not an array", Refuses},
      {R"({"type":"stop","timestamp":1,"processes":[{"pid":1,"name":5}]})",
       "member \"name\" is not a string", Refuses},
      {R"({"type":"stop","timestamp":1,"threads":[{"pid":1,"tid":2,"earlier":[]}]})",
       "member \"earlier\" is unknown here", Refuses},
      {R"({"type":"stop","timestamp":1,"lostEvents":[{"source":"a"}]})",
       "member \"count\" is missing", Refuses},
      {R"({"type":"stop","timestamp":1,"lostEvents":[{"count":-1}]})",
       "member \"count\" is out of range", Refuses},
  };
  std::string forSchema;
  std::string expectedRefusals;
  int number = 0;
  for (const Case& wrong : cases) {
    std::string text = kStart + definitions;
    Replay replay(text.append(before).append(wrong.line).append("\n").append(before));
    EXPECT_EQ(replay.status, 1);
    EXPECT_EQ(replay.error, "s:8: " + wrong.cause) << wrong.line;
    const std::string delivered = replay.sink.text();
    EXPECT_TRUE(delivered.ends_with("}\n" + before)) << wrong.line << delivered;
    EXPECT_EQ(linesOf(delivered).size(), 3U) << wrong.line;
    if (wrong.schema == NoJson) continue;
    forSchema += wrong.line + "\n";
    ++number;
    // Python's integers have no limit, and a plain number in a value is any number.
    if (wrong.schema == Refuses) expectedRefusals += std::to_string(number) + " ";
  }
  if (!kIsWindows) {
    EXPECT_EQ(refusedBySchema(forSchema), expectedRefusals);
  }
}

TEST(Stream, BeginsWithHeaderAndSystem) {
  const std::string notAStream =
      R"(not a recorded stream: it does not begin with {"type":"tavrin-stream","version":2})";
  const std::pair<std::string, std::string> cases[] = {
      {"", "s:0: the stream ends before its system record"},
      {kHeader, "s:1: the stream ends before its system record"},
      {"[]\n", "s:1: " + notAStream},
      {"\n{\"type\":\"flush\"}\n", "s:2: " + notAStream},
      {R"({"type":"tavrin-stream","version":3})", "s:1: version 3 of the format is not supported"},
      {R"({"type":"tavrin-stream","version":0})", "s:1: version 0 of the format is not supported"},
      {std::string(kHeader) + "{\"type\":\"flush\"}",
       "s:2: the system record is missing before this"},
      {std::string(kHeader) + "{\"type\":\"system\"}", "s:2: member \"clockMHz\" is missing"},
      {std::string(kHeader) + R"({"type":"system","clockMHz":0})",
       "s:2: member \"clockMHz\" is out of range"},
      {std::string(kHeader) + R"({"type":"system","clockMHz":1,"cpuMHz":1e39})",
       "s:2: member \"cpuMHz\" is out of range"},
      {std::string(kHeader) + R"({"type":"system","clockMHz":1,"collectorVersion":[1,256,0]})",
       "s:2: member \"collectorVersion\" is out of range"},
      {std::string(kStart) + "{\"type\":\"stop\",\"timestamp\":1}\n{\"type\":\"flush\"}",
       "s:4: a record behind the stop record"},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(Replay(text).error, error) << text;
}

TEST(Stream, LinesMayBeLongEmptyOrWithoutEnd) {
  // Around the sizes in which lines are read, and far beyond.
  const std::string head = R"({"type":"text","text":")";
  const std::size_t buffer = 65536 - head.size() - std::string(kStart).size();
  for (const std::size_t size : {buffer - 8, buffer - 7, buffer - 6, buffer - 5, buffer - 4,
                                 buffer - 2, buffer, 2 * buffer, std::size_t{3000000}}) {
    const std::string line = head + std::string(size, 'x') + "\"}";
    std::string text = kStart;
    Replay replay(text.append("\r\n \t\n").append(line).append("\r\n").append(line));
    EXPECT_EQ(replay.error, "");
    text = kStart;
    EXPECT_EQ(replay.sink.text(), text.append(line).append("\n").append(line).append("\n"));
  }
}

/// Definitions with the ids from 1 to `count`, each but the first with `member` naming the one
/// before.
std::string chain(const std::string& type, const std::string& member, int count) {
  std::string lines;
  for (int id = 1; id <= count; ++id) {
    lines += R"({"type":")" + type + R"(","id":)" + std::to_string(id);
    if (id > 1) lines += ",\"" + member + "\":" + std::to_string(id - 1);
    lines += "}\n";
  }
  return lines;
}

TEST(Stream, DepthDoesNoHarm) {
  for (const std::string bracket : {"[", "{\"a\":"}) {
    std::string line;
    for (int i = 0; i < 300000; ++i) line += bracket;
    const std::string column = std::to_string(16 * bracket.size() + 1);
    EXPECT_EQ(Replay(kStart + line + "\n").error, "s:3: nested too deeply (column " + column + ")");
  }
  EXPECT_EQ(Replay(kStart + chain("entity", "parent", 256)).error, "");
  EXPECT_EQ(Replay(kStart + chain("entity", "parent", 257)).error,
            "s:259: member \"parent\" is the 256th of a chain of parents");
  const std::string quantities = chain("quantity", "rate", 150000);
  const std::string sample =
      "{\"type\":\"metric\",\"id\":150001,\"quantity\":150000}\n"
      "{\"type\":\"sample\",\"metric\":150001,\"time\":0,\"elements\":[]}\n";
  Replay replay(kStart + quantities + sample);
  EXPECT_EQ(replay.error, "");
  EXPECT_EQ(replay.sink.text(), kStart + quantities + sample);
}

TEST(Stream, MemoryOfALineIsLimited) {
  tavrin::JsonLine json(100000);
  std::string text = '"' + std::string(1000000, 'x') + '"';
  EXPECT_EQ(json.parse(text).GetStringLength(), 1000000U) << "a text takes none";
  for (const std::string item : {"1,", "[],", "[1,2,3],", "{\"a\":1},"}) {
    std::string line = "[";
    for (int i = 0; i < 20000; ++i) line += item;
    line.back() = ']';
    try {
      json.parse(line);
      FAIL() << item;
    } catch (const tavrin::StreamError& error) {
      EXPECT_STREQ(error.what(), "the line holds too many values");
    }
    text = "[1]";
    EXPECT_EQ(json.parse(text)[0].GetInt(), 1) << "the next line is read as ever";
  }
}

TEST(Stream, BeginsWithAMarkOrNot) {
  EXPECT_EQ(Replay(std::string("\xEF\xBB\xBF") + kStart).error, "");
  EXPECT_EQ(Replay(kStart + std::string("\xEF\xBB\xBF{}")).error,
            "s:3: not valid JSON: Invalid value (column 1)");
  for (const std::string mark : {"\xFF\xFE", "\xFE\xFF"}) {
    EXPECT_EQ(Replay(mark + std::string("{\0\"\0", 4)).error,
              "s:1: the stream is UTF-16 and has to be UTF-8");
  }
}

/// Reads samples of some known descriptions in both ways.
class BothWays {
 public:
  BothWays() {
    for (const std::string& line :
         linesOf(std::string(kStart) +
                 "{\"type\":\"metric\",\"id\":2}\n{\"type\":\"entity\",\"id\":3}\n"
                 "{\"type\":\"descriptor\",\"id\":65535}\n{\"type\":\"entity\",\"id\":65536}\n")) {
      readAsAllOthers(line);
    }
  }

  /// What the sample delivers; empty when it is not read.
  std::string readAsOrdinary(const std::string& sample) {
    return sink_.after([&] { records_.plainSample(sample); });
  }
  std::string readAsAllOthers(std::string sample) {
    return sink_.after([&] {
      try {
        records_.record(json_.parse(sample));
      } catch (const tavrin::StreamError&) {
      }
    });
  }

 private:
  struct Sink : Recorder {
    template <typename Read>
    std::string after(const Read& read) {
      delivered.clear();
      read();
      return delivered;
    }
    void metric(pwr::Metric& m) override {
      std::ostringstream text;
      text << m.getId() << ' ' << m.getData().timestamp;
      for (const pwr::DataElement& e : m.getData().elements) {
        std::string value;
        e.getValue()->toString(value);
        text << ' ' << static_cast<int>(e.getValue()->getType()) << value << ' ' << e.getEntity()
             << ' ' << e.getDescriptor() << ' ' << e.getDuration() << ' ' << e.getAttributes();
      }
      delivered = text.str();
    }
    std::string delivered;
  };

  Sink sink_;
  tavrin::RecordReplay records_{sink_};
  tavrin::JsonLine json_;
};

TEST(Stream, OrdinarySamplesAreReadAsAllOthers) {
  const std::string samples[] = {
      R"({"type":"sample","metric":2,"time":0,"elements":[[17,3,65535,10],-5,[2.5,65536]]})",
      (R"( { "type" : "sample" , "metric" : 2 , "time" : 12 , "elements" : [ [ null , null , 65535 )"
       ", null ] , 0 , [ \"C 6~\" , 3 , null , 1234567890123456789 ] ] } \r"),
      (R"({"type":"sample","metric":2,"time":1,"elements":[9223372036854775807,"",[1],)"
       "-9223372036854775807,-0.0,1e5,1E-5,1.25e+2,4.9e-324,0.1234567890123456789]}"),
      R"({"type":"sample","metric":2,"time":18446744073709551615,"elements":[]})",
      R"({"type":"sample","metric":2,"time":2,"elements":[[1,null,null,5,{"attributes":[]}],-0]})",
  };
  BothWays ways;
  const auto check = [&](const std::string& sample) {
    const std::string delivered = ways.readAsOrdinary(sample);
    EXPECT_TRUE(delivered.empty() || delivered == ways.readAsAllOthers(sample)) << sample;
    return !delivered.empty();
  };
  std::string ordinary;
  for (const std::string& sample : samples) {
    ordinary += check(sample) ? "yes " : "no ";
    for (std::size_t at = 0; at < sample.size(); ++at) {
      check(std::string(sample).erase(at, 1));
      for (const char c : std::string_view("\0 ,[]{}\"-.017eE\\n\x7f\xff", 19)) {
        check(std::string(sample).replace(at, 1, 1, c));
        check(std::string(sample).insert(at, 1, c));
      }
    }
  }
  EXPECT_EQ(ordinary, "yes yes yes no no ");
}

TEST(Stream, StopIsTheLatestEndUnlessStated) {
  const std::string definitions =
      "{\"type\":\"metric\",\"id\":1,\"quantity\":0}\n"
      "{\"type\":\"quantity\",\"id\":2,\"kind\":\"rate\"}\n"
      "{\"type\":\"metric\",\"id\":3,\"quantity\":2}\n";
  const std::string sample =
      "{\"type\":\"sample\",\"metric\":1,\"time\":2000,\"elements\":[[1,null,null,999000],2]}\n";
  struct Case {
    std::string records;
    unsigned long long stop;
    double seconds;
  };
  const Case cases[] = {
      {"", 1000, 0.0},
      {sample, 1001000, 0.001},
      {sample + "{\"type\":\"text\",\"text\":\"enough\"}\n" + R"({"type":"stop","timestamp":7})",
       1001000, 0.001},
      {sample + "{\"type\":\"fault\"}\n", 1001000, 0.001},
      {sample + R"({"type":"stop","timestamp":7,"durationSec":2})", 7, 2.0},
      {R"({"type":"sample","metric":3,"time":3000,"elements":[[1,null,null,999000]]})", 3000, 2e-6},
      {R"({"type":"sample","metric":1,"time":5,"elements":[[1,null,null,18446744073709551615]]})",
       std::numeric_limits<unsigned long long>::max(), 18446744073.709550615},
  };
  for (const Case& wanted : cases) {
    const Replay replay(kStart + definitions + wanted.records);
    EXPECT_EQ(replay.sink.metadata->getCollectionStopTimestamp(), wanted.stop) << wanted.records;
    EXPECT_DOUBLE_EQ(replay.sink.metadata->getCollectionDurationSec(), wanted.seconds);
  }
}

TEST(Stream, DefinesInOrderOfCreation) {
  const pwr::Attribute* const attribute =
      pwr::Attribute::create("A", pwr::Quantity::time(), pwr::AttributeType::Real);
  const pwr::EntityHandle* const parent = pwr::createEntity({.name = "P"});
  const pwr::DataDescriptor* const descriptor = pwr::DataDescriptor::create({"D", ""});
  pwr::createEntity({.name = "unused"});
  pwr::AttributeValueManager values;
  values.addAttributeValue(attribute, pwr::Data(1.0));
  const pwr::EntityHandle* const entity =
      pwr::createEntity({.name = "E \xC3(\xFF", .parent = parent, .attributes = values});
  const pwr::Quantity* const rate = pwr::createQuantity({.name = "R"});
  const pwr::Quantity* const quantity = pwr::createQuantity({.name = "Q", .rate = rate});
  const pwr::MetricDescription* const first = pwr::createMetric(
      {.name = "1", .quantity = quantity, .combinations = {{entity, descriptor}}});
  const pwr::MetricDescription* const second =
      pwr::createMetric({.name = "2", .combinations = {{nullptr, descriptor}}});

  const TempStream out;
  StreamWriter writer(out.get());
  writer.define({second, first});
  pwr::Metric metric(second);
  writer.metric(metric);
  EXPECT_EQ(writer.close(), 0);
  EXPECT_EQ(out.text(), R"({"type":"attribute","id":1,"name":"A","quantity":0,"values":"real"}
{"type":"entity","id":2,"name":"P"}
{"type":"descriptor","id":3,"name":"D"}
)"
                        "{\"type\":\"entity\",\"id\":4,\"name\":\"E \uFFFD(\uFFFD\""
                        R"(,"parent":2,"attributes":[[1,1.0]]}
{"type":"quantity","id":5,"name":"R"}
{"type":"quantity","id":6,"name":"Q","rate":5}
{"type":"metric","id":7,"name":"1","quantity":6,"combinations":[[4,3]]}
{"type":"metric","id":8,"name":"2","combinations":[[null,3]]}
{"type":"sample","metric":8,"time":0,"elements":[]}
)");
}

#if !defined(_WIN32)

TEST(Stream, FailedWriteIsToldAtTheEnd) {
  const std::unique_ptr<FILE, int (*)(FILE*)> full(std::fopen("/dev/full", "w"), std::fclose);
  ASSERT_NE(full, nullptr);
  StreamWriter writer(full.get());
  writer.flush();
  EXPECT_EQ(writer.close(), 1);
  EXPECT_EQ(writer.close(), 1);
}

TEST(Stream, LineWithoutEndIsRefused) {
  tavrin::InputFile zeros("/dev/zero");
  Recorder sink;
  std::string error;
  EXPECT_EQ(StreamReader(zeros, sink).replay(error), 1);
  EXPECT_EQ(error, "/dev/zero:1: the line is longer than 256 MiB");
}

TEST(Stream, FailedReadIsAnError) {
  tavrin::InputFile folder("/");
  Recorder sink;
  StreamReader reader(folder, sink);
  std::string error;
  EXPECT_EQ(reader.replay(error), 1);
  EXPECT_EQ(error, "/:0: cannot be read: Is a directory");
}

#endif

}  // namespace
