// Bytes of kernel events, decoded and turned into metrics with their totals. The input is a
// sequence of events: a byte tells how long each is, the first of its bytes which of the known
// events.

#include <cstring>
#include <set>
#include <span>

#include "fuzz/FuzzTarget.h"
#include "hostcommon/summary/SummaryTables.h"
#include "tavrin/common/MetricSink.h"
#include "tavrin/decoding/EventDecoder.h"
#include "tavrin/events/EventMetrics.h"

namespace {

constexpr int kFirstId = 1;

/// Fields one behind the other, as the kernel would lay them out.
std::string formatOf(const tavrin::KnownEvent& event, int id) {
  static const std::set<std::string> texts{"next_comm", "child_comm",   "filename", "comm",  "name",
                                           "type",      "thermal_zone", "device",   "pm_ops"};
  std::string format = "name: " + std::string(event.name) + "\nID: " + std::to_string(id) +
                       "\nformat:\n"
                       "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
                       "\tfield:int common_pid;\toffset:4;\tsize:4;\tsigned:1;\n\n";
  int offset = 8;
  for (const char* field : event.fields) {
    if (field == nullptr || std::string(field) == "common_pid") continue;
    format += texts.contains(field) ? "\tfield:__data_loc char[] " : "\tfield:int ";
    format +=
        std::string(field) + ";\toffset:" + std::to_string(offset) + ";\tsize:4;\tsigned:1;\n";
    offset += 4;
  }
  return format + "\nprint fmt: \"%d\", REC->common_pid\n";
}

tavrin::EventDecoder decoderOfAll() {
  tavrin::EventDecoder decoder;
  int id = kFirstId;
  for (const tavrin::KnownEvent& event : tavrin::knownEvents()) {
    const auto format = tavrin::EventFormat::parse(formatOf(event, id++), sizeof(long));
    if (!format || decoder.add(event, *format) != 0) std::abort();
  }
  return decoder;
}

/// Adds up.
class Totals : public tavrin::MetricSink {
 public:
  void metric(pwr::Metric& metric) override {
    for (const pwr::DataElement& element : metric.getData().elements) {
      if (element.getDescriptor() == nullptr) std::abort();
    }
    tables_.add(metric);
  }

 private:
  pwr::SummaryTables tables_;
};

void turn(std::span<const std::byte> input) {
  using enum tavrin::EventGroup;
  static const tavrin::EventDecoder decoder = decoderOfAll();
  tavrin::ProcessTable processes;
  tavrin::EventMetrics metrics({.processes = &processes});
  unsigned int container = 0;
  for (const auto group :
       {Idle, Frequency, Schedule, Process, Wakeup, DevicePower, Thermal, Regulator, Clock}) {
    metrics.describe(group, ++container, "fuzzed");
  }
  Totals totals;
  unsigned long long time = 0;
  while (!input.empty()) {
    const auto length =
        std::min<std::size_t>(std::to_integer<std::size_t>(input[0]), input.size() - 1);
    // Of its own, so that what is read behind it is found.
    std::vector<std::byte> event(input.begin() + 1, input.begin() + 1 + static_cast<long>(length));
    input = input.subspan(length + 1);
    const unsigned int cpu = length % 4;
    time += length / 8;
    if (auto what = decoder.decode(event)) metrics.add({time, cpu, *what}, totals);
    if (length == 0) metrics.add({time, cpu, tavrin::LostEvents{}}, totals);
  }
  metrics.finish(time, totals);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::QuietLog quiet(size);
  turn({reinterpret_cast<const std::byte*>(data), size});
  return 0;
}
