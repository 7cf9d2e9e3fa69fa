// How long the summary writer takes to put a large staged table together, against copying a file of
// the same bytes: the copy is the least that any way of staging on disk has to do.
//   merge/copy           at most 3.5

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/Platform.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/host/HostFunctions.h"
#include "writers/text/SummaryWriter.h"

namespace {

constexpr unsigned int kRows = 200000;

std::shared_ptr<const pwr::TableDescription> makeTable() {
  pwr::TableDescription table{.containerId = 1, .tableId = 1, .title = "Benchmark"};
  for (const char* name : {"Time (ms)", "Core", "State", "Residency (%)", "Entries (#)", "Rate"}) {
    table.handles.push_back(pwr::createColumn(name, nullptr));
  }
  return std::make_shared<const pwr::TableDescription>(std::move(table));
}

void stageRows(SummaryWriter& writer) {
  static const auto table = makeTable();
  for (unsigned int n = 0; n < kRows; ++n) {
    WriterDispatch::write(
        writer, pwr::TableMessage(
                    table, {pwr::Data(n * 0.37), pwr::Data(n % 128), pwr::Data("C6"),
                            pwr::Data((n % 1000) / 10.0), pwr::Data(n * 7U), pwr::Data(n * 1.5)}));
  }
}

bool copyFile(const std::string& from, const std::string& to) {
  FILE* in = nullptr;
  FILE* out = nullptr;
  if (!pwr::openFileHandle(&in, from.c_str(), "rb")) return false;
  bool isCopied = pwr::openFileHandle(&out, to.c_str(), "wb");
  if (isCopied) {
    std::vector<char> chunk(std::size_t{64} * 1024);
    while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), in)) {
      isCopied = std::fwrite(chunk.data(), 1, count, out) == count && isCopied;
    }
    isCopied = std::fclose(out) == 0 && isCopied;
  }
  std::fclose(in);
  return isCopied;
}

void mergeAgainstCopy(benchmark::State& state) {
  const measure::WorkFolder folder;
  measure::Pairs pairs;
  bool isWritten = true;
  while (state.KeepRunning()) {
    for (const char* name : {"report.csv", "copy"}) std::filesystem::remove(name);
    SummaryWriter writer;
    isWritten = writer.openOutput("report", false) == 0 && isWritten;
    stageRows(writer);
    state.SetIterationTime(
        pairs.add([&] { isWritten = writer.closeOutput() == 0 && isWritten; },
                  [&] { isWritten = copyFile("report.csv", "copy") && isWritten; }));
  }
  if (!isWritten) return figures::fail(state, "cannot write the report");
  state.counters["ns/row"] = pairs.seconds() / kRows * 1e9;
  figures::atMost(state, "merge/copy", pairs.ratio(), 3.5);
}
BENCHMARK(mergeAgainstCopy)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace
