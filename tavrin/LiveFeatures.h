#pragma once

#include <memory>
#include <vector>

#include "tavrin/Options.h"
#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/run/Sampler.h"

namespace tavrin {

class ChildProcess;

/// The features that the user asked for, found on the machine or in a copy of its files.
class LiveFeatures {
 public:
  /// `command` and `mostEnded` are those of `createFeatures`. Throws CommandError when a feature
  /// that was named is unknown or absent, or none is there. With a configuration file those that
  /// are absent are told only.
  LiveFeatures(const Options& options, const ChildProcess* command, std::size_t mostEnded);

  const SysRoot& root() const { return root_; }
  const CpuEntities& cpus() const { return cpus_; }
  /// In the order in which they are sampled.
  const std::vector<Feature*>& present() const { return present_; }

  /// What delivers messages of theirs between the passes; null for none.
  KernelTracing* tracing() const { return tracing_; }

 private:
  SysRoot root_;
  CpuEntities cpus_;
  std::vector<std::unique_ptr<Feature>> features_;
  std::vector<Feature*> present_;
  KernelTracing* tracing_ = nullptr;
};

/// When the passes of a live collection are: at this interval, until the end that the options set.
SamplingTimes samplingTimes(double intervalMs, const Options& options);

}  // namespace tavrin
