#include "exporters/perfetto/PerfettoWriter.h"

#include <algorithm>
#include <cerrno>
#include <variant>
#include <vector>

#include "exporters/perfetto/ProcessLives.h"
#include "writers/common/SystemFacts.h"
#include "writers/common/TextLog.h"
#include "writers/host/PluginCapability.h"

namespace {

/// For a run that no system message began.
const pwr::SystemMetadata g_noSystem;

pwr::Data dataOf(const SystemFactValue& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) return pwr::Data(*text);
  if (const auto* const count = std::get_if<std::uint64_t>(&value)) return pwr::Data(*count);
  if (const auto* const real = std::get_if<float>(&value)) {
    return pwr::Data(static_cast<double>(*real));
  }
  return pwr::Data(std::get<double>(value));
}

}  // namespace

PerfettoWriter::PerfettoWriter()
    : RunWriter(
          "5d0f6b6e-7e0b-4c53-9f0a-2b1c5a8f4e13",
          new pwr::WriterPluginCapability(
              {}, "perfetto", "Write a trace (.pftrace) for the Perfetto viewer and its queries",
              ".pftrace", false),
          kPlainLog, [](const std::string& baseName, bool /*continuous*/) {
            return PerfettoRun::open(baseName + ".pftrace");
          }) {}

PerfettoWriter::~PerfettoWriter() = default;

std::unique_ptr<PerfettoRun> PerfettoRun::open(const std::string& path) {
  auto run = std::make_unique<PerfettoRun>();
  if (run->trace_.file.open(path)) return run;
  PW_LOG(kPlainLog, PW_LOG_ERROR, "ERROR: Could not write %s: %s.\n", path.c_str(),
         systemErrorText(errno).c_str());
  return nullptr;
}

int PerfettoRun::write(const pwr::SystemMessage& message) {
  if (run_) return 0;  // the clock of a trace is declared once
  system_ = message.getSystemMetadata();
  begin(*system_);
  return 0;
}

void PerfettoRun::begin(const pwr::SystemMetadata& system) {
  trace_.clock = pftrace::TraceClock(system);
  const unsigned long long start = trace_.clock.start();
  trace_.latest = start;
  trace_.tree.begin(trace_.clock.nanoseconds(start), system.getCollectionStartTimeNs());
  run_ = trace_.tree.addTrack("Run", {});
}

int PerfettoRun::write(const pwr::Metric& metric) {
  if (!run_) begin(g_noSystem);
  Known& known = find(metric);
  known.tracks.add(trace_, metric);
  if (known.bundles) known.bundles->add(trace_, metric);
  return 0;
}

PerfettoRun::Known& PerfettoRun::find(const pwr::Metric& metric) {
  if (last_ != nullptr && lastId_ == metric.getId()) return *last_;
  last_ = &metrics_.try_emplace(metric.getId(), metric, trace_.clock).first->second;
  lastId_ = metric.getId();
  return *last_;
}

int PerfettoRun::close() {
  if (!run_) begin(g_noSystem);
  unsigned long long end = trace_.latest;
  const auto stop = system_ == nullptr ? 0 : system_->getCollectionStopTimestamp();
  if (trace_.clock.isInRange(stop)) end = std::max(end, stop);
  for (auto& [id, known] : metrics_) {
    known.tracks.close(trace_, end);
    if (known.bundles) known.bundles->close(trace_, trace_.latest);
  }
  if (system_ != nullptr) complete(end);
  return trace_.file.close();
}

/// Tells what is known of the run when it is over.
void PerfettoRun::complete(unsigned long long end) {
  for (const pwr::Process& process : system_->getProcesses()) {
    trace_.tree.complete(process, trace_.clock);
    pftrace::tellLife(trace_, process, end);
  }
  for (const pwr::Thread& thread : system_->getThreads()) trace_.tree.complete(thread);
  tellSystem(*system_);
  for (const pwr::LostEvents& lost : system_->getLostEvents()) {
    const pwr::Data source(lost.source);
    const pwr::Data count(lost.count);
    const std::vector<pftrace::Annotation> annotations{{"Source", &source}, {"Count", &count}};
    run_->instant(trace_.file, trace_.clock.nanoseconds(end), "Lost events", annotations);
  }
}

void PerfettoRun::tellSystem(const pwr::SystemMetadata& system) {
  std::vector<std::pair<const char*, pwr::Data>> facts;
  for (const SystemFact& fact : systemFacts()) {
    if (fact.title == nullptr) continue;
    pwr::Data value = dataOf(fact.of(system));
    if (value != pwr::Data("")) facts.emplace_back(fact.title, std::move(value));
  }
  std::vector<pftrace::Annotation> annotations;
  annotations.reserve(facts.size());
  for (const auto& [name, value] : facts) annotations.push_back({name, &value});
  run_->instant(trace_.file, trace_.clock.nanoseconds(trace_.clock.start()), "Run", annotations);
}
