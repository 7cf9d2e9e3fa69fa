#pragma once

#include "writers/common/WriterLog.h"

/// The channel of the JSON trace and of the continuous model.
inline const WriterLog kContinuousLog("continuous_writer");
