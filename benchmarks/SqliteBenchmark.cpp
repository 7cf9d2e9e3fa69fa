// What the database writer costs per data point, from the message to the closed file, against a
// bare loop that inserts the same points into the same table in the order in which they come: the
// least that a program would have to do. Then the memory that ten million points need.
//
//   database/bare loop  at most 1.3
//   MiB                 at most 64, however many points

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "exporters/sqlite/Schema.h"
#include "exporters/sqlite/SqliteWriter.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"

namespace {

constexpr unsigned int kPoints = 1'000'000;
constexpr unsigned int kManyPoints = 10'000'000;
constexpr unsigned long long kInterval = 100'000'000;  // ticks

/// One message with one point of every series.
pwr::Metric makeMessage(unsigned int seriesCount) {
  const pwr::DataDescriptor* const descriptor =
      pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Value", ""));
  pwr::MetricDescription description{.name = "Benchmark"};
  for (unsigned int n = 0; n < seriesCount; ++n) {
    description.combinations.push_back(
        {pwr::createEntity({.name = "CPU" + std::to_string(n)}), descriptor});
  }
  pwr::Metric message(pwr::createMetric(std::move(description)));
  for (const auto& [entity, value] : message.getEntityDescriptorCombinations()) {
    message.editData().elements.emplace_back(pwr::Data(0.0), value, entity, kInterval);
  }
  return message;
}

double valueAt(unsigned int n) {
  return 0.7 * n;
}

bool writeRun(pwr::Metric& message, unsigned int points) {
  static const pwr::SystemMetadata system(
      pwr::SystemDescription{.timestampClockFrequencyMHz = 1000});
  SqliteWriter writer;
  writer.openOutput("run", false);
  WriterDispatch::write(writer, pwr::SystemMessage(&system));
  auto& data = message.editData();
  for (unsigned int n = 0; n < points;) {
    data.timestamp = n / data.elements.size() * kInterval;
    for (auto& element : data.elements) element.editValue().set(valueAt(n++));
    WriterDispatch::write(writer, message);
  }
  return writer.closeOutput() == 0;
}

bool insertPlainly(unsigned int seriesCount, unsigned int points) {
  sqlite3* database = nullptr;
  sqlite3_stmt* row = nullptr;
  sqlite3_open("bare.db", &database);
  const auto run = [&](const char* sql) {
    return sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  };
  bool isWritten = run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
                       "PRAGMA locking_mode = EXCLUSIVE; PRAGMA cache_size = -8192") &&
                   run(sqlite::kTables) && run("BEGIN");
  sqlite3_prepare_v2(database, "INSERT INTO point VALUES (?,?,0,?,?,NULL)", -1, &row, nullptr);
  for (unsigned int n = 0; n < points && isWritten; ++n) {
    sqlite3_bind_int64(row, 1, n % seriesCount + 1);
    sqlite3_bind_int64(row, 2, static_cast<sqlite3_int64>(n / seriesCount * kInterval));
    sqlite3_bind_int64(row, 3, kInterval);
    sqlite3_bind_double(row, 4, valueAt(n));
    isWritten = sqlite3_step(row) == SQLITE_DONE;
    sqlite3_reset(row);
  }
  sqlite3_finalize(row);
  isWritten = isWritten && run("COMMIT");
  return sqlite3_close(database) == SQLITE_OK && isWritten;
}

void databaseAgainstBareLoop(benchmark::State& state) {
  const measure::WorkFolder folder;
  const auto seriesCount = static_cast<unsigned int>(state.range(0));
  pwr::Metric message = makeMessage(seriesCount);
  bool isWritten = true;
  measure::Pairs pairs;
  while (state.KeepRunning()) {
    for (const char* name : {"run.db", "bare.db"}) std::filesystem::remove(name);
    state.SetIterationTime(
        pairs.add([&] { isWritten = writeRun(message, kPoints) && isWritten; },
                  [&] { isWritten = insertPlainly(seriesCount, kPoints) && isWritten; }));
  }
  if (!isWritten) return figures::fail(state, "cannot write the files");
  state.counters["ns/point"] = pairs.seconds() / kPoints * 1e9;
  figures::atMost(state, "database/bare loop (" + std::to_string(seriesCount) + " series)",
                  pairs.ratio(), 1.3);
}
BENCHMARK(databaseAgainstBareLoop)
    ->ArgName("series")
    ->Arg(64)
    ->Arg(10'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

void databaseMemory(benchmark::State& state) {
  const measure::WorkFolder folder;
  pwr::Metric message = makeMessage(64);
  double mebibytes = 0.0;
  while (state.KeepRunning()) {
    mebibytes = measure::peakMemoryOf([&] { return writeRun(message, kManyPoints); });
  }
  if (mebibytes < 0.0) return figures::fail(state, "cannot write the file");
  figures::atMost(state, "MiB for 10,000,000 points", mebibytes, 64.0);
}
BENCHMARK(databaseMemory)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
