#pragma once

#include <algorithm>
#include <optional>
#include <string_view>

#include "exporters/perfetto/PacketFile.h"
#include "exporters/perfetto/TraceClock.h"
#include "exporters/perfetto/TrackTree.h"
#include "writers/common/TextLog.h"

namespace pftrace {

/// When something was, in ticks. A length of 0 is one that is not known.
struct Span {
  unsigned long long time = 0;
  unsigned long long length = 0;

  unsigned long long end() const { return length > ~0ULL - time ? ~0ULL : time + length; }
};

/// What all that writes into a trace shares.
struct Trace {
  PacketFile file;
  TrackTree tree{file};
  TraceClock clock;
  ToldProblems told;
  unsigned long long latest = 0;  ///< the last time that anything has told of, in ticks

  /// So much of a span as is in the run; nothing when none of it is, or when readers cannot know
  /// its times.
  std::optional<Span> inRun(Span span) {
    const unsigned long long start = clock.start();
    const unsigned long long end = span.end();
    if (!clock.isInRange(end)) return std::nullopt;
    if (span.time < start) {
      if (end <= start) return std::nullopt;
      span = {start, end - start};
    }
    latest = std::max(latest, end);
    return span;
  }
};

}  // namespace pftrace
