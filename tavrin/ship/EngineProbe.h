#pragma once

#include <string>

#include "tavrin/ship/Answer.h"

namespace tavrin {

/// The page by which an engine can be asked how it was started.
inline constexpr const char* kFlagsPage = "/flags";

/// What the user should know of an engine that has answered so when asked for that page.
struct EngineRemarks {
  std::string note;     ///< "" for nothing
  std::string warning;  ///< likewise
};
/// `isCluster`: lines are not sent to the part of the engine that keeps them.
EngineRemarks engineRemarks(const Answer& flags, bool isCluster);

}  // namespace tavrin
