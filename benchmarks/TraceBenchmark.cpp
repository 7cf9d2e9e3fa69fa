// The trace writer from the metric message to the closed file, against the least that any writer
// has to do (one plain write of the same bytes) and against two other ways to lay out the same
// cells; then what it needs of memory.
//
//   trace/write      at most 6: trace writer / plain write of the bytes of its file
//   column/trace     at least 15: `column -t` on the same cells / trace writer
//   streams/trace    at least 10: the same work with string streams / trace writer
//   allocations/row  0
//   peak_MiB         below 32 for 10,000,000 rows; for many tables below 1.2 per table

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "benchmarks/AllocationCount.h"
#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/Platform.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/columns/IntWriterV2.h"

namespace {

constexpr unsigned int kRows = 2000000;
constexpr unsigned int kClockMHz = 1000;

/// What row `n` of the trace shows. The values repeat, so that the messages can be made before the
/// time is taken: what makes a message is no part of what writes it.
struct Sample {
  static constexpr unsigned int kValues = 1024;
  explicit Sample(unsigned int n)
      : ticks(n * 1000037ULL), value((n % kValues * 2654435761U % 1000003) / 7.0) {}

  unsigned long long ticks;
  static constexpr unsigned long long kDuration = 1000037;
  double value;
};

class TraceRun {
 public:
  /// Opens a trace of a metric with one element for each of `tables` entities, and makes messages
  /// with all values that the memory for one table allows.
  TraceRun(const std::string& base, unsigned int tables) {
    writer_.openOutput(base, false);
    WriterDispatch::write(writer_, pwr::SystemMessage(&system_));
    std::vector<pwr::Data> values;
    for (unsigned int n = 0; n < Sample::kValues; ++n) values.emplace_back(Sample(n).value);
    messages_.assign(Sample::kValues / tables, pwr::Metric(describe()));
    for (unsigned int table = 0; table < tables; ++table) {
      const auto* const entity = pwr::createEntity({.name = "E" + std::to_string(table)});
      for (std::size_t n = 0; n < messages_.size(); ++n) {
        messages_[n].editData().elements.emplace_back(values[n], nullptr, entity,
                                                      Sample::kDuration);
      }
    }
  }

  void write(unsigned int row) {
    messages_[next_].editData().timestamp = Sample(row).ticks;
    WriterDispatch::write(writer_, messages_[next_]);
    if (++next_ == messages_.size()) next_ = 0;
  }

  bool close() { return writer_.closeOutput() == 0; }

 private:
  static const pwr::MetricDescription* describe() {
    static const pwr::MetricDescription* const description =
        pwr::createMetric({.name = "Benchmark", .combinations = {{}}});
    return description;
  }

  pwr::SystemMetadata system_{pwr::SystemDescription{.timestampClockFrequencyMHz = kClockMHz}};
  std::vector<pwr::Metric> messages_;
  std::size_t next_ = 0;
  IntWriterV2 writer_;
};

std::string contentOf(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writePlainly(const std::string& bytes) {
  FILE* const file = std::fopen("plain", "wb");
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
}

std::string fixedText(double number) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(2) << number;
  return text.str();
}

std::array<std::string, 4> cellsOf(unsigned int row) {
  const Sample sample(row);
  std::ostringstream number;
  number << row + 1;
  return {number.str(), fixedText(static_cast<double>(sample.ticks) / kClockMHz),
          fixedText(static_cast<double>(Sample::kDuration) / (kClockMHz * 1000.0)),
          fixedText(sample.value)};
}

/// Does what the trace writer does, with the means at hand: cells formatted by string streams,
/// staged in a file, laid out with std::setw.
void writeWithStreams() {
  std::array<std::string, 4> names = {"Sample #", "Continuous Time (usec)", "Duration (ms)", ""};
  std::array<std::size_t, 4> widths{};
  for (std::size_t n = 0; n < 4; ++n) widths[n] = names[n].size();
  std::ofstream staged("staged", std::ios::binary);
  for (unsigned int row = 0; row < kRows; ++row) {
    const auto cells = cellsOf(row);
    for (std::size_t n = 0; n < 4; ++n) {
      widths[n] = std::max(widths[n], cells[n].size());
      staged << cells[n] << '\n';
    }
  }
  staged.close();
  std::ifstream cells("staged", std::ios::binary);
  std::ofstream table("streams", std::ios::binary);
  table << "\nBenchmark - E0\n";
  for (unsigned int row = 0; row <= kRows; ++row) {
    std::ostringstream line;
    for (std::size_t n = 0; n < 4; ++n) {
      if (row > 0) std::getline(cells, names[n]);
      line << (n > 0 ? ", " : "") << std::setw(static_cast<int>(widths[n])) << names[n];
    }
    table << line.str() << '\n';
  }
  table << '\n';
}

/// The cells of the trace, without padding, for `column`.
void writeCells() {
  std::ofstream file("cells", std::ios::binary);
  file << "Sample #,Continuous Time (usec),Duration (ms),-\n";
  for (unsigned int row = 0; row < kRows; ++row) {
    const auto [number, time, duration, value] = cellsOf(row);
    file << number << ',' << time << ',' << duration << ',' << value << '\n';
  }
}

// First, because a child begins with what its parent holds.
void memory(benchmark::State& state) {
  const measure::WorkFolder folder;
  const auto tables = static_cast<unsigned int>(state.range(0));
  const auto rows = static_cast<unsigned int>(state.range(1));
  double peak = 0.0;
  while (state.KeepRunning()) {
    peak = measure::peakMemoryOf([&] {
      pwr::platform::raiseOpenFileLimit();
      TraceRun run("peak", tables);
      for (unsigned int row = 0; row < rows; ++row) run.write(row);
      return run.close();
    });
  }
  if (peak < 0) return figures::fail(state, "the trace failed");
  if (tables == 1) figures::atMost(state, "peak_MiB", peak, 32);
  if (tables > 1) figures::atMost(state, "peak_MiB/table", peak / tables, 1.2);
}
// 25,000 rows of a table are 1.3 MiB in its store.
BENCHMARK(memory)
    ->ArgNames({"tables", "rows"})
    ->Args({1, 10000000})
    ->Args({500, 25000})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void allocations(benchmark::State& state) {
  const measure::WorkFolder folder;
  while (state.KeepRunning()) {
    TraceRun run("allocations", 1);
    constexpr unsigned int kHalf = kRows / 2;
    for (unsigned int row = 0; row < kHalf; ++row) run.write(row);
    const std::uint64_t before = allocationCount();
    for (unsigned int row = kHalf; row < kRows; ++row) run.write(row);
    figures::atMost(state, "allocations/row",
                    static_cast<double>(allocationCount() - before) / kHalf, 0);
  }
}
BENCHMARK(allocations)->Iterations(1)->Unit(benchmark::kMillisecond);

bool writeTrace() {
  TraceRun run("run", 1);
  for (unsigned int row = 0; row < kRows; ++row) run.write(row);
  return run.close();
}

void traceAgainstPlainWrite(benchmark::State& state) {
  const measure::WorkFolder folder;
  measure::Pairs pairs;
  bool isWritten = writeTrace();
  const std::string bytes = contentOf("run_trace.csv");
  while (state.KeepRunning()) {
    // Both write new files: to empty an old one takes time too, and leaves warm pages behind.
    for (const char* name : {"run_trace.csv", "plain"}) std::filesystem::remove(name);
    state.SetIterationTime(
        pairs.add([&] { isWritten = writeTrace() && isWritten; }, [&] { writePlainly(bytes); }));
  }
  if (!isWritten) return figures::fail(state, "the trace failed");
  state.counters["ns/row"] = pairs.seconds() * 1e9 / kRows;
  figures::atMost(state, "trace/write", pairs.ratio(), 6);
}
BENCHMARK(traceAgainstPlainWrite)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);

void otherWaysAgainstTrace(benchmark::State& state) {
  const measure::WorkFolder folder;
  measure::Pairs streams;
  measure::Pairs column;
  writeCells();
  bool isSound = true;
  const auto trace = [&] {
    std::filesystem::remove("run_trace.csv");
    isSound = writeTrace() && isSound;
  };
  const auto align = [&] {
    const char* const command = "column -t -s , -o ', ' -R 1,2,3,4 cells > columned";
    isSound = std::system(command) == 0 && isSound;
  };
  while (state.KeepRunning()) {
    for (const char* name : {"staged", "streams", "columned"}) std::filesystem::remove(name);
    state.SetIterationTime(streams.add(writeWithStreams, trace));
    isSound = isSound && contentOf("streams") == contentOf("run_trace.csv");
    column.add(align, trace);
  }
  if (!isSound) return figures::fail(state, "a way failed, or the tables are not the same");
  figures::atLeast(state, "streams/trace", streams.ratio(), 10);
  figures::atLeast(state, "column/trace", column.ratio(), 15);
}
BENCHMARK(otherWaysAgainstTrace)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
