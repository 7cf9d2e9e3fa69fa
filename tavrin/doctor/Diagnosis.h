#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tavrin/collect/FeatureProbe.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

struct FeatureFinding {
  std::string tag;
  std::string help;
  bool isOnDemand = false;
  FeatureProbe probe;
};

/// A fact about the machine, the user or the tool that bears on what can be measured.
struct Check {
  std::string name;
  bool isGood = true;  ///< false: something is missing or slower for it
  std::string text;
};

/// What this user may measure here.
struct Diagnosis {
  std::string user;  ///< name and number
  std::vector<FeatureFinding> features;
  std::vector<Check> checks;
  std::string guide = "docs/permissions.md";  ///< where to read on about rights

  std::size_t count(FeatureProbe::State state) const;
  /// The rights that some feature lacks, in the order of `rights`.
  std::vector<const Right*> missing() const;
};

/// Probes all live features, below `root` as far as they read files.
std::vector<FeatureFinding> examineFeatures(const SysRoot& root);

/// What the files below `root`, and of this process its rights, tell. To be called after
/// `examineFeatures`, which finds out how many files are to be open.
std::vector<Check> checkMachine(const SysRoot& root);

/// The name and the number of the user whose rights count.
std::string userName();

}  // namespace tavrin
