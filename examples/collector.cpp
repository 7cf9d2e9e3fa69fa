// A collector of one's own: the load of the machine, ten times a second, in all outputs.
//
//   collector BASE SAMPLES    writes BASE.csv, BASE.pwr, BASE.ztbin, BASE_trace.csv ...

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <thread>

#include "hostcommon/Descriptions.h"
#include "hostcommon/session/PluginLibraries.h"
#include "hostcommon/session/Session.h"

unsigned long long now() {  // in nanoseconds: ticks of a clock of 1000 MHz
  const std::chrono::nanoseconds time = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<unsigned long long>(time.count());
}

int main(int argc, char** argv) try {
  const long samples = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
  if (samples <= 0) return std::cerr << "usage: " << argv[0] << " BASE SAMPLES\n", 2;
  const pwr::PluginLibraries plugins;  // outlives the session
  pwr::Session session(plugins.select({"all"}));
  session.open(argv[1], false);
  pwr::SystemMetadata system(
      {.timestampClockFrequencyMHz = 1000, .collectionStartTimestamp = now()});
  session.system(system);
  const auto* machine = pwr::createEntity({.name = "Machine", .level = "System"});
  const auto* average = pwr::DataDescriptor::create({"1 min", "of the last minute"});
  pwr::Metric load(pwr::createMetric({.name = "Load",
                                      .featureTag = "load",
                                      .type = pwr::Metric::MetricType::SampledValue,
                                      .quantity = pwr::createQuantity({.name = "Load"}),
                                      .combinations = {{machine, average}}}));
  for (long left = samples; left > 0; --left) {
    const auto start = now();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    double value = 0.0;
    if (!(std::ifstream("/proc/loadavg") >> value)) continue;  // a gap
    load.editData() = {start,
                       {pwr::DataElement(pwr::Data(value), average, machine, now() - start)}};
    session.metric(load);
  }
  pwr::SystemDescription& run = system.edit();
  run.collectionStopTimestamp = now();
  run.collectionDurationSec = 1e-9 * static_cast<double>(now() - run.collectionStartTimestamp);
  const std::vector<std::string> incomplete = session.finish();
  for (const std::string& writer : incomplete) std::cerr << writer << " is incomplete\n";
  return incomplete.empty() ? 0 : 1;
} catch (const pwr::HostError& error) {
  return std::cerr << error.what() << '\n', 1;
}
