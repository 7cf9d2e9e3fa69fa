#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "exporters/perfetto/KernelBundles.h"
#include "exporters/perfetto/MetricTracks.h"
#include "exporters/perfetto/Trace.h"
#include "writers/common/RunWriter.h"
#include "writers/host/SystemMessage.h"

/// One run of the Perfetto writer: a trace.
class PerfettoRun {
 public:
  /// Null when the file cannot be had, which is told.
  static std::unique_ptr<PerfettoRun> open(const std::string& path);

  int write(const pwr::SystemMessage& message);
  int write(const pwr::Metric& metric);
  int close();

 private:
  struct Known {
    Known(const pwr::Metric& metric, const pftrace::TraceClock& clock) : tracks(metric, clock) {
      const auto kind = pftrace::KernelBundles::kindOf(metric);
      if (kind) bundles.emplace(metric, *kind);
    }

    pftrace::MetricTracks tracks;
    std::optional<pftrace::KernelBundles> bundles;
  };

  void begin(const pwr::SystemMetadata& system);
  Known& find(const pwr::Metric& metric);
  void tellSystem(const pwr::SystemMetadata& system);
  void complete(unsigned long long end);

  pftrace::Trace trace_;
  const pwr::SystemMetadata* system_ = nullptr;  ///< of the host; lives until the run is closed
  std::optional<pftrace::TrackSequence> run_;    ///< of what is told of the run as a whole
  std::map<unsigned int, Known> metrics_;        ///< by their ids
  Known* last_ = nullptr;
  unsigned int lastId_ = 0;
};

/// Writes the points of a run as a trace for Perfetto's viewer and its queries, packet by packet as
/// they come: what is kept does not grow with their number. The format: docs/formats/perfetto.md.
///
/// A trace that cannot be written completely is left as NAME.incomplete by `closeOutput`, which
/// returns 1.
class PerfettoWriter : public RunWriter<PerfettoRun> {
 public:
  PerfettoWriter();
  ~PerfettoWriter() override;
};
