// What a table of two million rows costs from its cells to the printed file, against one plain
// write of the same bytes, which is the least that any way of printing it has to do.
//   table/plain          at most 5.5
//   allocations of rows  0

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "benchmarks/AllocationCount.h"
#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "benchmarks/TraceRows.h"
#include "writers/columns/ColumnStore.h"

namespace {

constexpr int kRows = 2000000;
constexpr std::array<const char*, 4> kColumns{"Sample #", "Time (ms)", "Duration (ms)", "Value"};

std::uint64_t g_rowAllocations = 0;

bool printTable(const std::vector<TraceRow>& rows) {
  ColumnStore table("Benchmark", "n/a");
  for (const char* name : kColumns) table.addColumn(name);
  for (int n = 0; n < kRows; ++n) {
    if (n == 1000) g_rowAllocations = allocationCount();
    const TraceRow& row = rows[static_cast<std::size_t>(n) % rows.size()];
    for (unsigned int column = 0; column < row.size(); ++column) {
      table.setColumnData(row[column], column);
    }
    table.completeRow();
  }
  g_rowAllocations = allocationCount() - g_rowAllocations;
  FILE* const output = std::fopen("table", "wb");
  const bool isPrinted = output != nullptr && table.writeTo(output, ",", false) == 0;
  return output != nullptr && std::fclose(output) == 0 && isPrinted;
}

void tableAgainstPlainWrite(benchmark::State& state) {
  const measure::WorkFolder folder;
  const std::vector<TraceRow> rows = makeTraceRows();
  bool isWritten = printTable(rows);
  const std::vector<char> bytes(std::filesystem::file_size("table"), 'x');
  measure::Pairs pairs;
  while (state.KeepRunning()) {
    for (const char* name : {"table", "plain"}) std::filesystem::remove(name);
    state.SetIterationTime(
        pairs.add([&] { isWritten = printTable(rows) && isWritten; },
                  [&] { isWritten = measure::writePlainly("plain", bytes) && isWritten; }));
  }
  if (!isWritten) return figures::fail(state, "cannot write the files");
  state.counters["ns/row"] = pairs.seconds() / kRows * 1e9;
  figures::atMost(state, "table/plain", pairs.ratio(), 5.5);
  figures::atMost(state, "allocations of rows", static_cast<double>(g_rowAllocations), 0);
}
BENCHMARK(tableAgainstPlainWrite)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(11);

}  // namespace
