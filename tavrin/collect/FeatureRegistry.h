#pragma once

#include <memory>
#include <vector>

#include "tavrin/collect/Feature.h"
#include "tavrin/common/ProcessTable.h"

namespace tavrin {

class ChildProcess;

/// All live features, in the order in which they are listed, probed and sampled. `command`: what is
/// measured, if any; it must outlive the features. `mostEnded`: of how many processes that have
/// ended the system description is to tell.
std::vector<std::unique_ptr<Feature>> createFeatures(
    const ChildProcess* command = nullptr, std::size_t mostEnded = ProcessTable::kMostEnded);

}  // namespace tavrin
