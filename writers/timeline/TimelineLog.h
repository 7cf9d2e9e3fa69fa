#pragma once

#include "writers/WriterLog.h"

/// The channel of the timeline writer, which no debug switch shows.
inline const WriterLog kTimelineLog("");
