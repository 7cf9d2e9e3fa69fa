// How long the summary writer takes to put a large staged table together, against copying a file of
// the same bytes: the copy is the least that any way of staging on disk has to do.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

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

void copyFile(const std::string& from, const std::string& to) {
  FILE* in = nullptr;
  FILE* out = nullptr;
  if (!pwr::openFileHandle(&in, from.c_str(), "rb")) return;
  if (pwr::openFileHandle(&out, to.c_str(), "wb")) {
    std::vector<char> chunk(std::size_t{64} * 1024);
    while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), in)) {
      std::fwrite(chunk.data(), 1, count, out);
    }
    std::fclose(out);
  }
  std::fclose(in);
}

void mergeAgainstCopy(benchmark::State& state) {
  const std::string folder = pwr::platform::createPrivateDirectory("");
  const std::string report = folder + "/report";
  const std::string copy = folder + "/copy";
  double merging = 0.0;
  double copying = 0.0;
  while (state.KeepRunning()) {
    SummaryWriter writer;
    if (writer.openOutput(report, false) != 0) {
      state.SkipWithError("cannot create the report");
      break;
    }
    stageRows(writer);
    const double merge = measure::secondsOf([&] { writer.closeOutput(); });
    copying += measure::secondsOf([&] { copyFile(report + ".csv", copy); });
    merging += merge;
    state.SetIterationTime(merge);
  }
  const double rows = static_cast<double>(state.iterations()) * kRows;
  state.counters["merge_ns_per_row"] = merging / rows * 1e9;
  state.counters["copy_ns_per_row"] = copying / rows * 1e9;
  state.counters["merge/copy"] = merging / copying;
  pwr::platform::removeFile(report + ".csv");
  pwr::platform::removeFile(copy);
  pwr::platform::removePrivateDirectory(folder);
}
BENCHMARK(mergeAgainstCopy)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

}  // namespace
