#pragma once

#include "writers/common/WriterLog.h"

/// The channel of the timeline writer, which no debug switch shows.
inline const WriterLog kTimelineLog("");

/// A line of the timeline writer: the level word, the writer, four blanks and the text. What comes
/// behind `word` are the arguments of a printf, the first of them a literal.
#define TIMELINE_LINE(level, word, ...) \
  PW_LOG(kTimelineLog, level, word ": KorvellWriterPlugin:    " __VA_ARGS__)

#define TIMELINE_WARNING(...) TIMELINE_LINE(PW_LOG_WARNING, "WARNING", __VA_ARGS__)
#define TIMELINE_DEBUG(...) TIMELINE_LINE(PW_LOG_DEBUG, "DEBUG", __VA_ARGS__)
#define TIMELINE_INFO(...) TIMELINE_LINE(PW_LOG_INFO, "INFO", __VA_ARGS__)
