#pragma once

#include <memory>
#include <vector>

#include "tavrin/collect/Feature.h"

namespace tavrin {

class ChildProcess;

/// All live features, in the order in which they are listed, probed and sampled. `command`: what is
/// measured, if any; it must outlive the features.
std::vector<std::unique_ptr<Feature>> createFeatures(const ChildProcess* command = nullptr);

}  // namespace tavrin
