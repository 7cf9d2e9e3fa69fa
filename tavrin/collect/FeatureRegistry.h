#pragma once

#include <memory>
#include <vector>

#include "tavrin/collect/Feature.h"

namespace tavrin {

/// All live features, in the order in which they are listed, probed and sampled.
std::vector<std::unique_ptr<Feature>> createFeatures();

}  // namespace tavrin
