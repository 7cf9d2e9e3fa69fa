#pragma once

#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// What `tavrin inspect` tells about a file or a run: the same for every format, and the same for
/// the same files. Either the points are printed as they come, or their counts at the end.
class InspectReport {
 public:
  struct Metric {
    std::string name;
    std::string feature;
    std::string kind;
    std::string units;
    std::vector<std::string> states;
    std::vector<std::string> facts;  ///< more lines of what the format says of it
  };
  struct Point {
    std::size_t metric;  ///< as returned by `addMetric`
    std::string_view series;
    std::string_view name;
    std::uint64_t time;
    std::string duration;
    std::string value;
  };

  /// `out` is not owned. `withPoints`: print every point instead of a summary.
  InspectReport(FILE* out, bool withPoints) : out_(out), withPoints_(withPoints) {}

  void addSystem(std::string_view key, std::string_view text);
  std::size_t addMetric(Metric metric);
  /// A point may have several values, which come one after the other; `isNewPoint` for the first.
  void addValue(const Point& point, bool isNewPoint);
  /// Whether there was a value of that name. Unknown where points are printed.
  bool hasValues(std::size_t metric, const std::string& series, const std::string& name) const;
  /// One more line about a metric.
  void addFact(std::size_t metric, std::string fact);
  /// A line that follows the metrics.
  void addNote(std::string_view text);
  /// Ends the report. `title` names the files, `timeUnit` what times are counted in.
  void finish(const std::string& title, const char* timeUnit);

 private:
  struct Span {
    std::uint64_t points = 0;
    std::uint64_t first = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t last = 0;

    void add(std::uint64_t time);
    std::string text(const char* timeUnit) const;
  };
  struct MetricCounts {
    Metric metric;
    Span span;
    std::map<std::string, std::map<std::string, std::uint64_t, std::less<>>, std::less<>> values;
  };

  void print(const std::string& line) const { std::fputs((line + "\n").c_str(), out_); }
  void printMetric(const MetricCounts& counts, const char* timeUnit) const;

  FILE* out_;
  bool withPoints_;
  std::string system_;
  std::string notes_;
  Span span_;
  std::vector<MetricCounts> metrics_;
};

}  // namespace tavrin
