// What a table of two million rows costs from its cells to the printed file, against one plain
// write of the same bytes, which is the least that any way of printing it has to do. Also counts
// the allocations of the rows.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/AllocationCount.h"
#include "hostcommon/NumberText.h"
#include "hostcommon/Platform.h"
#include "writers/columns/ColumnStore.h"

namespace {

constexpr int kRows = 2000000;
constexpr std::array<const char*, 4> kColumns{"Sample #", "Time (ms)", "Duration (ms)", "Value"};

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The cells of one row, made before anything is timed.
using Row = std::array<std::string, 4>;

std::vector<Row> makeRows() {
  std::vector<Row> rows(4096);
  for (std::size_t n = 0; n < rows.size(); ++n) {
    rows[n][0] = std::to_string(n * 488);
    pwr::appendFixed(rows[n][1], static_cast<double>(n) * 4880.37, 2);
    pwr::appendFixed(rows[n][2], 10 + static_cast<double>(n % 7) / 100, 2);
    pwr::appendFixed(rows[n][3], static_cast<double>(n * n % 100003) / 13, 2);
  }
  return rows;
}

class Files {
 public:
  Files() : folder_(pwr::platform::createPrivateDirectory("")) {}
  ~Files() { std::filesystem::remove_all(folder_); }
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;
  void remove(const char* name) const { std::filesystem::remove(folder_ + "/" + name); }
  FILE* create(const char* name) const {
    FILE* const file = std::fopen((folder_ + "/" + name).c_str(), "wb");
    if (file == nullptr) std::abort();
    return file;
  }
  std::vector<char> contents(const char* name) const {
    std::vector<char> bytes(std::filesystem::file_size(folder_ + "/" + name));
    FILE* const file = std::fopen((folder_ + "/" + name).c_str(), "rb");
    if (file == nullptr || std::fread(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
      std::abort();
    }
    std::fclose(file);
    return bytes;
  }

 private:
  std::string folder_;
};

struct Seconds {
  double rows = 0.0;
  double printing = 0.0;
};

Seconds printTable(const Files& files, const std::vector<Row>& rows,
                   std::uint64_t& rowAllocations) {
  Seconds seconds;
  files.remove("table");
  const auto start = Clock::now();
  ColumnStore table("Benchmark", "n/a");
  for (const char* name : kColumns) table.addColumn(name);
  for (int n = 0; n < kRows; ++n) {
    if (n == 1000) rowAllocations = allocationCount();
    const Row& row = rows[static_cast<std::size_t>(n) % rows.size()];
    for (unsigned int column = 0; column < row.size(); ++column) {
      table.setColumnData(row[column], column);
    }
    table.completeRow();
  }
  rowAllocations = allocationCount() - rowAllocations;
  seconds.rows = secondsSince(start);
  FILE* const output = files.create("table");
  if (table.writeTo(output, ",", false) != 0 || std::fclose(output) != 0) std::abort();
  seconds.printing = secondsSince(start) - seconds.rows;
  return seconds;
}

double writePlainly(const Files& files) {
  const std::vector<char> bytes = files.contents("table");
  files.remove("plain");
  const auto start = Clock::now();
  FILE* const output = files.create("plain");
  if (std::fwrite(bytes.data(), 1, bytes.size(), output) != bytes.size()) std::abort();
  if (std::fclose(output) != 0) std::abort();
  return secondsSince(start);
}

void tableAgainstPlainWrite(benchmark::State& state) {
  const Files files;
  const std::vector<Row> rows = makeRows();
  // The best of several runs: what other processes do to the disk meanwhile is not of interest.
  Seconds best{.rows = 1e9, .printing = 1e9};
  double plain = 1e9;
  std::uint64_t rowAllocations = 0;
  while (state.KeepRunning()) {
    const Seconds seconds = printTable(files, rows, rowAllocations);
    plain = std::min(plain, writePlainly(files));
    best.rows = std::min(best.rows, seconds.rows);
    best.printing = std::min(best.printing, seconds.printing);
    state.SetIterationTime(seconds.rows + seconds.printing);
  }
  state.counters["rows_ns"] = best.rows / kRows * 1e9;
  state.counters["print_ns"] = best.printing / kRows * 1e9;
  state.counters["plain_ns"] = plain / kRows * 1e9;
  state.counters["table/plain"] = (best.rows + best.printing) / plain;
  state.counters["allocations_of_rows"] = static_cast<double>(rowAllocations);
}
BENCHMARK(tableAgainstPlainWrite)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace
