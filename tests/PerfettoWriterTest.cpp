// What only shows inside of a process: packets that reach the file while the run goes on, and
// writes that fail at any place. What is in the traces: perfetto_test.py.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <protozero/pbf_reader.hpp>

#include "TestSupport.h"
#include "exporters/perfetto/PerfettoWriter.h"
#include "exporters/perfetto/TraceFields.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned int kStates = 50000;
constexpr std::size_t kPiece = std::size_t{512} * 1024;

/// Events of a trace by their types.
std::map<int, unsigned int> eventsOf(const std::string& trace) {
  std::map<int, unsigned int> events;
  protozero::pbf_reader packets(trace);
  while (packets.next(pftrace::trace::kPacket)) {
    protozero::pbf_reader packet = packets.get_message();
    while (packet.next(pftrace::packet::kTrackEvent)) {
      protozero::pbf_reader event = packet.get_message();
      while (event.next(pftrace::event::kType)) ++events[event.get_enum()];
    }
  }
  return events;
}

class PerfettoWriterTest : public testing::Test {
 protected:
  PerfettoWriterTest() {
    system_.edit().timestampClockFrequencyMHz = 1000;
    message_.editData().elements = {{}};
  }

  /// States, of which each is two packets: more than two pieces of a file.
  int record(const std::string& folder, const std::function<void()>& beforeClose = {}) {
    fs::create_directory(folder_.path(folder));
    if (writer_.openOutput(folder_.path(folder) + "/run", false) != 0) return 1;
    int status = WriterDispatch::write(writer_, pwr::SystemMessage(&system_));
    for (unsigned int n = 0; n < kStates; ++n) {
      message_.editData().timestamp = n * 100ULL;
      message_.editData().elements[0] = {pwr::Data("state " + std::to_string(n % 7)), nullptr,
                                         disk_, 100};
      status |= WriterDispatch::write(writer_, message_);
    }
    EXPECT_EQ(status, 0);
    if (beforeClose) beforeClose();
    return writer_.closeOutput();
  }
  std::size_t bytesIn(const std::string& folder) const {
    std::size_t bytes = 0;
    for (const auto& file : fs::directory_iterator(folder_.path(folder)))
      bytes += fs::file_size(file);
    return bytes;
  }

  TempFolder folder_;
  LogCapture log_;
  pwr::SystemMetadata system_;
  const pwr::EntityHandle* disk_ = pwr::createEntity({.name = "sda", .level = "Disk"});
  pwr::Metric message_{
      pwr::createMetric({.name = "State", .type = pwr::Metric::MetricType::TracedValueTransition})};
  PerfettoWriter writer_;
};

TEST_F(PerfettoWriterTest, PacketsReachTheFileAsTheyCome) {
  std::size_t before = 0;
  EXPECT_EQ(record("run", [&] { before = bytesIn("run"); }), 0);
  EXPECT_GE(before, 2 * kPiece);
  auto events = eventsOf(readFile(folder_.path("run/run.pftrace")));
  EXPECT_EQ(events[1], kStates);
  EXPECT_EQ(events[2], kStates);
  EXPECT_EQ(events[3], 1U) << "the run";
  EXPECT_EQ(log_.all(), "");
}

#if !defined(_WIN32)
TEST_F(PerfettoWriterTest, EachWriteThatFailsLeavesWhatWasBefore) {
  ASSERT_EQ(record("good"), 0);
  const std::string good = readFile(folder_.path("good/run.pftrace"));
  for (std::size_t limit = 0; limit < good.size(); limit += kPiece) {
    SCOPED_TRACE(limit);
    const std::string name = "full" + std::to_string(limit);
    log_.clear();
    {
      const FullDisk full(limit);
      EXPECT_EQ(record(name), 1);
    }
    EXPECT_FALSE(fs::exists(folder_.path(name + "/run.pftrace")));
    const std::string kept = readFile(folder_.path(name + "/run.pftrace.incomplete"));
    EXPECT_LE(kept.size(), limit);
    EXPECT_EQ(kept, good.substr(0, kept.size()));
    EXPECT_NE(log_.errors().find("run.pftrace completely"), std::string::npos) << log_.errors();
  }
  EXPECT_EQ(record("again"), 0);
  EXPECT_EQ(eventsOf(readFile(folder_.path("again/run.pftrace")))[2], kStates);
}
#endif

}  // namespace
