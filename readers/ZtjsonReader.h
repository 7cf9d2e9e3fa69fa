#pragma once

#include <rapidjson/document.h>

#include <cstdint>
#include <functional>
#include <istream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "readers/JsonNode.h"

namespace ztjson {

/// What a trace says about a metric. Empty where the trace does not say it.
struct Metric {
  std::string name;
  std::string feature;
  std::string kind;
  std::string units;
  std::vector<std::string> states;
};

/// One point. Its texts are valid as long as the reader.
struct Point {
  std::size_t metric = 0;   ///< position in `metrics()`
  std::string_view series;  ///< what it was measured on
  std::uint64_t start = 0;  ///< microseconds from the start of the collection; ticks in a
                            ///< continuous trace
  double duration = 0.0;    ///< microseconds
  /// Each with the name of its state or descriptor, or "y" and "y1" where it has none. States that
  /// the trace does not name have their number.
  std::vector<std::pair<std::string_view, double>> values;
};

/// Reader of a JSON trace: of a whole run, or one file of a continuous run. Holds the document in
/// memory. The format: docs/formats/json-trace.md.
class ZtjsonReader {
 public:
  /// Reads the whole document and checks what describes the system and the metrics. Throws
  /// FormatError.
  explicit ZtjsonReader(std::istream& file);

  bool isContinuous() const { return isContinuous_; }
  /// Pairs of key and text, in the order of the document.
  const std::vector<std::pair<std::string, std::string>>& system() const { return system_; }
  const std::vector<Metric>& metrics() const { return metrics_; }

  using PointSink = std::function<void(const Point&)>;
  /// Hands out all points in the order of the document. Throws FormatError at the first faulty one.
  void readPoints(const PointSink& sink) const;

 private:
  void readSystem(const JsonNode& groups);
  void readTrace(const JsonNode& root);
  void readGroup(std::string_view name, const JsonNode& group);
  void readContinuous(const JsonNode& root);
  void readContainers(std::size_t metric, const JsonNode& group, const PointSink& sink) const;
  void readValues(const Metric& metric, const JsonNode& node, Point& point) const;
  void readContinuousPoint(const JsonNode& node, Point& point) const;

  rapidjson::Document document_;
  bool isContinuous_ = false;
  std::vector<std::pair<std::string, std::string>> system_;
  std::vector<Metric> metrics_;
  std::vector<std::pair<std::int64_t, std::size_t>> places_;  ///< id to position, sorted
};

}  // namespace ztjson
