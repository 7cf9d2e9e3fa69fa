#pragma once

#include "writers/common/WriterLog.h"
#include "writers/host/LogChannels.h"

/// The channel of the JSON trace and of the continuous model.
inline const WriterLog kContinuousLog(kContinuousChannel);
