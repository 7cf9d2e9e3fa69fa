#pragma once

#include <vector>

#include "readers/ResultReader.h"
#include "readers/RunFiles.h"
#include "tavrin/inspect/InspectReport.h"

namespace tavrin {

/// Reads a run to its end and reports what it holds.
class ResultSummary {
 public:
  /// `reader` is not owned. `withPoints`: print every point instead of a summary.
  ResultSummary(ResultReader& reader, bool withPoints)
      : reader_(reader), report_(stdout, withPoints) {}

  /// Throws ResultError at the first fault; points that came before it have been printed then.
  void report(const RunFiles& run);

 private:
  void addMetrics();
  void addPoint(const Point& point);
  void addSystem();
  void addSilentSeries();
  void addTasks(const char* title, const std::deque<Task>& tasks, bool areThreads);
  void addNotes();
  void addEndOfStream();

  ResultReader& reader_;
  InspectReport report_;
  std::size_t metrics_ = 0;  ///< told of
  std::uint64_t lastTime_ = 0;
};

}  // namespace tavrin
