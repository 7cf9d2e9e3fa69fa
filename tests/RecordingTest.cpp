#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <map>
#include <random>

#include "MessageText.h"
#include "RecordingBuilder.h"
#include "TestSupport.h"
#include "packing/Packing.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/import/MergedEvents.h"
#include "tavrin/import/PrintText.h"
#include "tavrin/import/Recognition.h"
#include "tavrin/import/RecordedEvents.h"
#include "tavrin/import/RecordingImport.h"
#include "tavrin/import/RecordingReader.h"

namespace tavrin {
namespace {

using Shape = RecordingBuilder::Shape;

std::string shown(const EventField::Value& value) {
  if (const auto* const text = std::get_if<std::string_view>(&value)) return std::string(*text);
  if (const auto* const number = std::get_if<long long>(&value)) return std::to_string(*number);
  return std::to_string(std::get<unsigned long long>(value));
}

std::string shown(const KernelEvent& event) {
  std::string text = std::string(event.system) + ":" + std::string(event.name);
  if (const auto* const idle = std::get_if<IdleEvent>(&event.what)) {
    return text + " " + std::to_string(idle->cpu) + " " + std::to_string(int(idle->state));
  }
  if (!std::holds_alternative<OtherEvent>(event.what)) return text;
  const auto& other = std::get<OtherEvent>(event.what);
  text += " by " + std::to_string(other.task) + " '" + std::string(other.taskName) + "'";
  for (const EventField& field : other.fields) {
    text += " " + std::string(field.name) + "=" + shown(field.value);
  }
  return text + (other.text.empty() ? "" : ": " + std::string(other.text));
}

/// All events of the recording and, last, its faults, a line each.
std::vector<std::string> linesOf(RandomBytes& file) {
  Recording recording = readRecording(file);
  RecordedEvents decoder(
      recording, [](const KernelEvent&) { return true; },
      [&] { return readSymbols(file, recording); });
  std::vector<std::string> lines;
  MergedEvents events(file, recording);
  for (; events.event() != nullptr; events.next()) {
    const CpuEvents& present = *events.event();
    const std::string head = std::to_string(present.cpu()) + "@";
    if (present.isLoss()) {
      lines.push_back(head + " lost " + std::to_string(present.lost()));
    } else if (const KernelEvent* const event = decoder.decode(present.event())) {
      lines.push_back(head + std::to_string(events.time()) + " " + shown(*event));
    }
  }
  if (!recording.fault.empty()) lines.push_back("fault: " + recording.fault);
  for (const std::string& fault : events.faults()) lines.push_back("fault: " + fault);
  return lines;
}

std::vector<std::string> linesOf(const std::string& bytes) {
  const auto span = std::as_bytes(std::span(bytes));
  MemoryBytes file({span.begin(), span.end()});
  return linesOf(file);
}

/// What `RecordingBuilder` records.
const std::vector<std::string> kLines = {
    "0@1000 power:cpu_idle 0 1",
    "1@1010 ftrace:print by 12 'the task' ip=0: hello",
    "1@1020 ftrace:bprint by 12 'the task' ip=0: number -03 of w at some_function",
    "1@ lost 0",
    "0@1040 own:custom by 12 'the task' number=-7 word=text list=1 2 letters=abcd",
    "0@1050 power:cpu_idle 0 -1",
    "1@1505 power:cpu_idle 1 3",
    "0@2001 power:cpu_idle 0 2",
    "1@3000 power:cpu_idle 1 0",
};

std::vector<Shape> shapes() {
  std::vector<Shape> shapes;
  for (const int version : {6, 7}) {
    for (const std::endian order : {std::endian::little, std::endian::big}) {
      for (const std::size_t longSize : {4U, 8U}) shapes.push_back({version, order, longSize});
    }
  }
  if (!whyNotPacked(Packing::Zstd).empty()) return shapes;
  const auto pack = [](const std::string& plain) {
    std::string packed;
    const std::unique_ptr<Packer> packer = createPacker(Packing::Zstd);
    EXPECT_EQ(packer->pack(plain, packed) + packer->endFrame(packed), 0);
    return packed;
  };
  shapes.push_back({7, std::endian::little, 8, pack, "zstd"});
  shapes.push_back({7, std::endian::big, 4, pack, "zstd"});
  return shapes;
}

/// Not every combination, for what takes long.
std::vector<Shape> someShapes() {
  std::vector<Shape> some{{6, std::endian::little, 8}, {7, std::endian::big, 4}};
  if (shapes().back().pack) some.push_back(shapes().back());
  return some;
}

std::string nameOf(const Shape& shape) {
  return "version " + std::to_string(shape.version) + " long " + std::to_string(shape.longSize) +
         (shape.order == std::endian::big ? " big " : " little ") + shape.packing;
}

TEST(Recording, IsReadInEveryShape) {
  for (const Shape& shape : shapes()) {
    SCOPED_TRACE(nameOf(shape));
    const std::string file = RecordingBuilder(shape).build();
    EXPECT_TRUE(isRecording(file));
    EXPECT_EQ(linesOf(file), kLines);
  }
}

TEST(Recording, CutAtEveryByteGivesWhatIsBeforeAndTellsWhere) {
  for (const Shape& shape : someShapes()) {
    SCOPED_TRACE(nameOf(shape));
    const std::string file = RecordingBuilder(shape).build();
    std::size_t most = 0;
    for (std::size_t size = 0; size < file.size(); ++size) {
      std::vector<std::string> lines = linesOf(file.substr(0, size));
      ASSERT_FALSE(lines.empty()) << size;
      // What is missing within the last page, behind its records, is no loss.
      std::size_t events = 0;
      bool hasFault = false;
      for (const std::string& line : lines) {
        if (line.starts_with("fault: ")) {
          EXPECT_NE(line.find("offset "), std::string::npos) << line;
          hasFault = true;
        } else if (line.find(" lost ") == std::string::npos) {
          EXPECT_EQ(std::ranges::count(kLines, line), 1) << line;
          ++events;
        }
      }
      EXPECT_TRUE(hasFault) << size;
      EXPECT_GE(events, most) << size;
      most = events;
    }
    // The pages of a version 7 file are known by what follows them.
    EXPECT_EQ(most, shape.version == 6 ? kLines.size() - 1 : 0);
  }
}

TEST(Recording, DamagedBytesDoNoHarm) {
  std::mt19937 random(testSeed());
  for (const Shape& shape : someShapes()) {
    const std::string file = RecordingBuilder(shape).build();
    for (std::size_t place = random() % 3; place < file.size(); place += 3) {
      std::string damaged = file;
      damaged[place] = static_cast<char>(random());
      char& other = damaged[random() % file.size()];
      if (place % 2 == 0) other = static_cast<char>(other ^ static_cast<int>(1U << random() % 8));
      EXPECT_LT(linesOf(damaged).size(), 100U) << nameOf(shape) << " " << place;
    }
  }
}

TEST(Recording, ADamagedPageEndsItsCpuOnly) {
  RecordingBuilder builder({.version = 6});
  std::string file = builder.build();
  const std::size_t page = file.size() - 6 * RecordingBuilder::kPageSize;  // the first one
  file[page + 16] = 28;  // the length of its first event
  const std::vector<std::string> lines = linesOf(file);
  EXPECT_EQ(lines.front(), "0@ lost 0");
  EXPECT_EQ(lines.back(), "fault: CPU 0: offset " + std::to_string(page + 16) +
                              ": an event is longer than what is left of its page");
  EXPECT_EQ(std::ranges::count(lines, kLines.back()), 1);
}

TEST(Recording, OptionsTurnItsTimesAndTellOfItsMachine) {
  struct Case {
    std::uint16_t number;
    Bytes data;
    std::string first;
  };
  const Bytes scale = Bytes(std::endian::little).put(6U << 10U).put(11U).put(0ULL);
  const Case kCases[] = {
      {7, Bytes().text("12345").put('\0'), "13345"}, {7, Bytes().text("-0x10").put('\0'), "984"},
      {1, Bytes().text("0x10").put('\0'), "17000"},  {14, scale, "3000"},
      {999, Bytes().text("unheard of"), "1000"},
  };
  for (const int version : {6, 7}) {
    for (const Case& one : kCases) {
      RecordingBuilder builder({.version = version});
      builder.addOption(one.number, one.data);
      EXPECT_TRUE(linesOf(builder.build()).front().starts_with("0@" + one.first + " "))
          << linesOf(builder.build()).front();
    }
  }
}

/// The run that a recording becomes: what is known of its machine, and how the replay ended.
std::string runOf(const std::string& bytes) {
  struct Facts : MessageText {
    void system(const pwr::SystemMetadata& metadata) override {
      lines = metadata.getHostName() + "|" + metadata.getOSName() + "|" + metadata.getOSVersion() +
              "|" + metadata.getOSType() + "\n";
      lines += "since 1970: " + std::to_string(metadata.getCollectionStartTimeNs()) + "\n";
      for (const auto& info : metadata.getInfoValues()) {
        lines += info.getInfoName() + "=" + info.getValueDesc() + "\n";
      }
    }
  };
  const TempFolder folder;
  folder.write("trace.dat", bytes);
  Facts facts;
  RecordingImport import(folder.path("trace.dat"), {"*"}, facts, [] { return false; });
  std::string error;
  const int status = import.replay(error);
  for (const std::string& warning : import.warnings()) facts.lines += warning + "\n";
  return facts.lines + "\n" + std::to_string(status) + " " + error;
}

TEST(Recording, TellsOfItsMachineAndWhatItDoesNotHave) {
  struct Case {
    std::uint16_t number;
    Bytes data;
    const char* told;
  };
  const std::endian order = std::endian::little;
  const auto bytes = [order] { return Bytes(order); };
  const Case kCases[] = {
      {5, bytes().text("Linux host 6.1.0-rc2 aarch64", 29), "host|Linux|6.1.0|aarch64\n"},
      {1, bytes().text("0x10", 5), "since 1970: 17000\n"},
      {9, bytes().text("3.1.6", 6), "Recorded by=trace-cmd 3.1.6\n"},
      {6, bytes().text("sched_switch,pid/sched_wakeup,pid", 34),
       "Event hook=sched_switch,pid/sched_wakeup,pid\n"},
      {11, bytes().put(std::uint64_t{77}), "Trace ID=77\n"},
      {13, bytes().text("guest", 6).put(std::uint64_t{5}).put(std::uint32_t{3}),
       "Traced guest=guest (3 CPUs, trace ID 5)\n"},
      {13, bytes().text("guest", 6).put(std::uint64_t{5}).put(std::uint32_t{3}),
       "the events of the guest 'guest' are in a recording of their own, which is not read"},
      {4, bytes().text("local [x86-tsc] mono", 21), "its clock 'x86-tsc' does not count"},
      {12, bytes().put(0U), "its times are those of a guest"},
      {6, bytes().text(""), "Trace instance=further\n"},
  };
  for (const Case& one : kCases) {
    RecordingBuilder builder({.version = 6, .order = order});
    builder.addOption(one.number, one.data);
    const std::string told = runOf(builder.build());
    EXPECT_NE(told.find(one.told), std::string::npos) << told;
    EXPECT_TRUE(told.ends_with("\n0 ")) << told;
  }
}

TEST(Recording, TellsWhatCannotBeRead) {
  const auto built = [](const Shape& shape) { return RecordingBuilder(shape).build(); };
  const auto replaced = [](std::string text, const std::string& part, const std::string& other) {
    const std::size_t place = text.rfind(part);
    EXPECT_NE(place, std::string::npos);
    return text.replace(place, part.size(), other);
  };
  struct Case {
    std::string file;
    const char* error;
  };
  const Case kCases[] = {
      {built({.version = 7, .packing = "zlib"}),
       "found one that is packed with zlib (only zstd can be unpacked"},
      {replaced(built({}), "tracing6", "tracing5"), "found version 5"},
      {replaced(built({}), std::string("flyrecord\0", 10), std::string("latency  \0", 10)),
       "expected the pages of a buffer, found something else"},
      {built({}).substr(0, 100), ": offset "},
      {built({.version = 7}).substr(0, 1800), "expected"},
      {"", "expected a kernel recording (10 bytes), found the end"},
  };
  for (const Case& one : kCases) {
    const std::string told = runOf(one.file);
    EXPECT_NE(told.find(one.error), std::string::npos) << told;
    EXPECT_NE(told.find("\n1 "), std::string::npos) << told;
  }
}

TEST(Recording, IsKnownByItsContentAndReadFromItsFileOnly) {
  const TempFolder folder;
  const std::string recording = RecordingBuilder({}).build();
  folder.write("no name for a recording.jsonl", recording);
  MessageText sink;
  const auto input = openInput(folder.path("no name for a recording.jsonl"), nullptr);
  const auto import = openImport(*input, sink, {});
  std::string error;
  EXPECT_EQ(import->replay(error), 0) << error;
  EXPECT_TRUE(sink.lines.starts_with("system from 1000\n")) << sink.lines;

  if (!whyNotPacked(Packing::Zstd).empty()) return;
  folder.write("packed", shapes().back().pack(recording));
  const auto packed = openInput(folder.path("packed"), nullptr);
  EXPECT_THROW(openImport(*packed, sink, {}), CommandError);
}

TEST(PrintText, DoesWhatTheKernelLeftToTheReader) {
  struct Case {
    const char* format;
    Bytes values;
    std::string text;
  };
  const auto none = [] { return Bytes(); };
  const Case kCases[] = {
      {"plain 100%%", none(), "plain 100%"},
      {"%d %5u|%-5i|%05x|%#X|%o", none().put(-1).put(2U).put(3).put(0xABU).put(0xABU).put(8U),
       "-1     2|3    |000ab|0XAB|10"},
      {"%hhd %hd %d", none().put(std::int8_t{-1}).put('\0').put(std::int16_t{-2}).put(5),
       "-1 -2 5"},
      {"%d %lld %llu", none().put(1).put(-5LL).put(~0ULL), "1 -5 18446744073709551615"},
      {"%ld %zu", none().putLong(7, 8).putLong(9, 8), "7 9"},
      {"%c%c!", none().put('a').put('b'), "ab!"},
      {"[%s] [%8s] [%-8s] [%.2s]", none().text("ab", 3).text("cd", 3).text("ef", 3).text("ghij", 5),
       "[ab] [      cd] [ef      ] [gh]"},
      {"%*d|%-*d|%.*d", none().put(4).put(1).put(4).put(2).put(3).put(5), "   1|2   |005"},
      {"%ps %pS %px %p %pI4",
       none().putLong(0x1000, 8).putLong(0x500, 8).putLong(16, 8).putLong(17, 8).text("10.0.0.1",
                                                                                      9),
       "symbol 0x500 0x10 0x11 10.0.0.1"},
      {"%d %s %lld %p", none(), "0  0 0x0"},
      {"%999999999d", none().put(1), std::string(199, ' ') + "1"},
      {"%y %", none(), "%y %"},
      {"%", none(), "%"},
  };
  for (const Case& one : kCases) {
    EXPECT_EQ(printText(one.format, one.values.content, {.longSize = 8},
                        [](std::uint64_t at) { return at == 0x1000 ? "symbol" : std::string(); }),
              one.text)
        << one.format;
  }
}

/// What the recordings of others have in them, as the tool counts that recorded them.
class RealRecordings : public testing::Test {
 protected:
  void SetUp() override {
    const char* const folder = std::getenv("TAVRIN_TEST_DATA");
    if (folder == nullptr) GTEST_SKIP() << "TAVRIN_TEST_DATA is not set";
    folder_ = std::string(folder) + "/";
    counts_.Parse(readFile(folder_ + "counts.json").c_str());
    ASSERT_TRUE(counts_.IsObject());
  }
  std::string folder_;
  rapidjson::Document counts_;
};

/// "2084.021442860"
std::string secondsOf(unsigned long long time) {
  std::string digits = std::to_string(time % 1'000'000'000);
  return std::to_string(time / 1'000'000'000) + "." + std::string(9 - digits.size(), '0') + digits;
}

TEST_F(RealRecordings, HaveTheEventsThatTheirOwnToolCounts) {
  int files = 0;
  for (const auto& [name, expected] : counts_.GetObject()) {
    const std::string file = name.GetString();
    if (!file.ends_with(".dat")) continue;
    SCOPED_TRACE(file);
    ++files;
    FileBytes bytes(folder_ + file);
    const Recording recording = readRecording(bytes);
    RecordedEvents decoder(
        recording, [](const KernelEvent&) { return true; }, [] { return std::string(); });
    std::map<std::string, std::map<std::string, int>> counted;
    std::vector<std::string> times;
    MergedEvents events(bytes, recording);
    for (; events.event() != nullptr; events.next()) {
      const KernelEvent* const event = decoder.decode(events.event()->event());
      ASSERT_NE(event, nullptr);
      ++counted[std::string(event->name)][std::to_string(events.event()->cpu())];
      times.push_back(secondsOf(events.time()));
    }
    EXPECT_EQ(recording.fault, "");
    EXPECT_TRUE(events.faults().empty());
    EXPECT_EQ(times.size(), expected["total"].GetUint());
    EXPECT_EQ(times.front(), expected["first_ts"].GetString());
    EXPECT_EQ(times.back(), expected["last_ts"].GetString());
    ASSERT_EQ(counted.size(), expected["per_cpu"].MemberCount());
    for (const auto& [event, cpus] : expected["per_cpu"].GetObject()) {
      ASSERT_EQ(counted[event.GetString()].size(), cpus.MemberCount()) << event.GetString();
      for (const auto& [cpu, count] : cpus.GetObject()) {
        EXPECT_EQ(counted[event.GetString()][cpu.GetString()], count.GetInt()) << event.GetString();
      }
    }
  }
  EXPECT_GE(files, 3);
}

TEST_F(RealRecordings, AreTheSameInBothVersions) {
  const std::string why = whyNotPacked(Packing::Zstd);
  if (!why.empty()) GTEST_SKIP() << "one of the two is packed: " << why;
  FileBytes flat(folder_ + "trace_idle.dat");
  FileBytes sections(folder_ + "trace_idle_v7.dat");
  EXPECT_EQ(linesOf(flat), linesOf(sections));
}

/// The beginning of a file.
class CutFile : public FileBytes {
 public:
  using FileBytes::FileBytes;
  std::uint64_t size() const override { return cut; }
  std::uint64_t cut = FileBytes::size();
};

using TimeAndCpu = std::pair<unsigned long long, unsigned int>;

/// Of the events, in order; `isDamaged` tells whether that is not all.
std::vector<TimeAndCpu> eventsOf(RandomBytes& file, const Recording& recording, bool& isDamaged) {
  std::vector<TimeAndCpu> found;
  MergedEvents events(file, recording);
  for (; events.event() != nullptr; events.next()) {
    if (!events.event()->isLoss()) found.emplace_back(events.time(), events.event()->cpu());
  }
  isDamaged = !recording.fault.empty() || !events.faults().empty();
  std::ranges::sort(found);
  return found;
}

TEST_F(RealRecordings, CutAnywhereGiveWhatIsBefore) {
  CutFile file(folder_ + "sched_load.dat");
  const std::uint64_t whole = file.size();
  const Recording recording = readRecording(file);
  const std::uint64_t pages = recording.buffers.at(0).cpus.at(0).offset;
  bool isDamaged = true;
  const auto all = eventsOf(file, recording, isDamaged);
  EXPECT_FALSE(isDamaged);
  std::mt19937_64 random(testSeed());
  std::map<std::uint64_t, std::size_t> countOfCut;
  for (int i = 0; i < 1000; ++i) {
    // Most cuts are in the pages: what is before them then says the same as it did.
    const bool isInPages = i % 50 != 0;
    file.cut = isInPages ? pages + random() % (whole - pages) : random() % pages;
    const auto some = eventsOf(file, isInPages ? recording : readRecording(file), isDamaged);
    EXPECT_TRUE(isDamaged) << file.cut;
    EXPECT_TRUE(std::ranges::includes(all, some)) << file.cut;
    countOfCut[file.cut] = some.size();
  }
  std::size_t before = 0;
  for (const auto& [cut, count] : countOfCut) {
    EXPECT_LE(before, count) << cut;
    before = count;
  }
  EXPECT_GT(before, all.size() / 2);
}

TEST_F(RealRecordings, BecomeARun) {
  MessageText sink;
  RecordingImport import(folder_ + "trace_idle.dat", {}, sink, [] { return false; });
  std::string error;
  EXPECT_EQ(import.replay(error), 0) << error;
  EXPECT_TRUE(sink.lines.starts_with("system from 162534215741800\n")) << sink.lines;
  EXPECT_NE(
      sink.lines.find("Recording Summary: Events | sched_switch | 23 | 0 | 10 | 5 | 2 | 5 | 0 "
                      "| 1\n"),
      std::string::npos)
      << sink.lines;
}

}  // namespace
}  // namespace tavrin
