// A collector of one's own: the load of the machine, ten times a second, in all outputs.
//
//   collector BASE SAMPLES    writes BASE.csv, BASE.pwr, BASE.ztbin, BASE_trace.csv ...

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "hostcommon/Descriptions.h"
#include "hostcommon/session/PluginLibraries.h"
#include "hostcommon/session/Session.h"

unsigned long long now() {  // in nanoseconds, which are the ticks of this collector
  const auto time = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<unsigned long long>(std::chrono::nanoseconds(time).count());
}

int main(int argc, char** argv) try {
  if (argc != 3) return std::fprintf(stderr, "usage: %s BASE SAMPLES\n", argv[0]), 2;
  const long samples = std::strtol(argv[2], nullptr, 10);
  const pwr::PluginLibraries plugins;
  pwr::Session session(plugins.select({"all"}));
  session.open(argv[1], false);
  pwr::SystemMetadata system({.hostName = "example", .timestampClockFrequencyMHz = 1000});
  system.edit().collectionStartTimestamp = now();
  session.system(system);
  const pwr::EntityHandle* const machine =
      pwr::createEntity({.name = "Machine", .level = "System"});
  const pwr::DataDescriptor* const average = pwr::DataDescriptor::create({"1 min", ""});
  pwr::Metric load(
      pwr::createMetric({.name = "Load",
                         .featureTag = "load",
                         .type = pwr::Metric::MetricType::SampledValue,
                         .quantity = pwr::createQuantity({.name = "Load"}),
                         .combinations = {{.entity = machine, .descriptor = average}}}));
  for (long left = samples; left > 0; --left) {
    const unsigned long long start = now();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    double value = 0.0;
    std::ifstream("/proc/loadavg") >> value;
    load.editData() = {start,
                       {pwr::DataElement(pwr::Data(value), average, machine, now() - start)}};
    session.metric(load);
  }
  system.edit().collectionStopTimestamp = now();
  system.edit().collectionDurationSec = 0.1 * static_cast<double>(samples);
  return session.finish().empty() ? 0 : 1;
} catch (const pwr::HostError& error) {
  return std::fprintf(stderr, "%s\n", error.what()), 1;
}
