// What the shortcuts of the writers gain: the plain way to do the same / the shortcut. One that no
// longer gains anything is to go.
//   memcpy/copyShort         short texts of a table's cells, copied behind each other
//   cells/beginRow           the first three cells of a row set one by one / at once
//   printCell/printRow       a row printed cell by cell / at once
//   small/large pages        64 MiB written to new memory in pages of the usual size / in large
//   ones

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "benchmarks/TraceRows.h"
#include "writers/columns/ColumnPrinter.h"
#include "writers/columns/ColumnStore.h"
#include "writers/columns/RecordBuffer.h"
#include "writers/common/ShortCopy.h"
#include "writers/continuous/RecordBlocks.h"

namespace {

const std::vector<TraceRow>& rows() {
  static const std::vector<TraceRow> made = makeTraceRows();
  return made;
}

template <typename Copy>
void copyCells(std::vector<char>& to, const Copy& copy) {
  for (int pass = 0; pass < 400; ++pass) {
    char* end = to.data();
    for (const TraceRow& row : rows()) {
      for (const std::string& cell : row) {
        copy(end, cell.data(), cell.size());
        end += cell.size();
      }
    }
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
}

void shortCopies(benchmark::State& state) {
  std::vector<char> to(rows().size() * std::tuple_size_v<TraceRow> * 32);
  measure::Pairs pairs;
  while (state.KeepRunning()) {
    const auto plainly = [](char* at, const char* from, std::size_t count) {
      std::memcpy(at, from, count);
    };
    state.SetIterationTime(
        pairs.add([&] { copyCells(to, plainly); }, [&] { copyCells(to, copyShort); }));
  }
  figures::atLeast(state, "memcpy/copyShort", pairs.ratio(), 1.5);
}
BENCHMARK(shortCopies)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);

template <typename Fill>
void storeRows(const Fill& fill) {
  ColumnStore table("Benchmark", "n/a");
  for (std::size_t n = 0; n < std::tuple_size_v<TraceRow>; ++n) table.addColumn(std::to_string(n));
  for (int pass = 0; pass < 400; ++pass) {
    for (const TraceRow& row : rows()) {
      fill(table, row);
      table.setColumnData(row[3], 3);
      table.completeRow();
    }
  }
}

void firstCells(benchmark::State& state) {
  const measure::WorkFolder folder;
  measure::Pairs pairs;
  const auto oneByOne = [](ColumnStore& table, const TraceRow& row) {
    for (unsigned int column = 0; column < 3; ++column) table.setColumnData(row[column], column);
  };
  const auto atOnce = [](ColumnStore& table, const TraceRow& row) {
    table.beginRow(std::string_view(row[0]), std::string_view(row[1]), std::string_view(row[2]));
  };
  while (state.KeepRunning()) {
    state.SetIterationTime(pairs.add([&] { storeRows(oneByOne); }, [&] { storeRows(atOnce); }));
  }
  figures::atLeast(state, "cells/beginRow", pairs.ratio(), 1.03);
}
BENCHMARK(firstCells)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);

/// Prints all rows many times. `print` prints the row at the records and returns where the next is.
template <typename Print>
void printRows(const RecordBuffer& records, const Print& print) {
  const std::vector<std::size_t> widths{10, 14, 10, 10};
  FILE* const output = std::fopen("/dev/null", "wb");
  ColumnPrinter printer(output, ",", "n/a", widths);
  for (int pass = 0; pass < 200; ++pass) {
    const char* next = records.data();
    for (std::size_t row = 0; row < rows().size(); ++row) next = print(printer, next);
  }
  printer.finish();
  std::fclose(output);
}

void wholeRows(benchmark::State& state) {
  RecordBuffer records;
  for (const TraceRow& row : rows()) {
    for (const std::string& cell : row) records.append(std::string_view(cell));
    records.append(RecordBuffer::kRowComplete);
  }
  // What `printRow` may read behind the last row.
  records.append(std::string_view(std::string(256, ' ')));
  const auto cells = [](ColumnPrinter& printer, const char* next) {
    std::string_view text = RecordBuffer::textAt(next);
    while (text != RecordBuffer::kRowComplete) {
      printer.printCell(text);
      text = RecordBuffer::textAt(text.data() + text.size());
    }
    printer.endRow();
    return text.data() + text.size();
  };
  const auto row = [](ColumnPrinter& printer, const char* next) {
    return next + printer.printRow(next);
  };
  measure::Pairs pairs;
  while (state.KeepRunning()) {
    state.SetIterationTime(
        pairs.add([&] { printRows(records, cells); }, [&] { printRows(records, row); }));
  }
  figures::atLeast(state, "printCell/printRow", pairs.ratio(), 1.4);
}
BENCHMARK(wholeRows)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);

void fillNewMemory(bool inLargePages) {
  constexpr std::size_t kSize = 32 * kLargePage;
  struct Free {
    void operator()(char* bytes) const { ::operator delete (bytes, std::align_val_t{kLargePage}); }
  };
  const std::unique_ptr<char, Free> bytes(
      static_cast<char*>(::operator new (kSize, std::align_val_t{kLargePage})));
  if (inLargePages) preferLargePages(bytes.get(), kSize);
  std::memset(bytes.get(), 'x', kSize);
  benchmark::DoNotOptimize(bytes.get());
}

/// Whether the kernel gives large pages to those who ask, and only to them.
bool largePagesAreOnRequest() {
  std::ifstream file("/sys/kernel/mm/transparent_hugepage/enabled");
  std::string line;
  return std::getline(file, line) && line.find("[madvise]") != std::string::npos;
}

void largePages(benchmark::State& state) {
  if (!largePagesAreOnRequest()) return state.SkipWithError("the kernel is not asked for them");
  measure::Pairs pairs;
  while (state.KeepRunning()) {
    state.SetIterationTime(pairs.add([] { fillNewMemory(false); }, [] { fillNewMemory(true); }));
  }
  figures::atLeast(state, "small/large pages", pairs.ratio(), 1.5);
}
BENCHMARK(largePages)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);

}  // namespace
