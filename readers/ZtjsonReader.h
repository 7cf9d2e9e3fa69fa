#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "readers/JsonNode.h"
#include "readers/TraceCursor.h"

namespace ztjson {

/// What a rate of a metric's quantity is: value * factor / seconds, in `units`.
struct Rate {
  std::string name;
  std::string units;
  double factor = 1.0;
};

/// What a file says to be measured on what; in a trace, on anything.
struct Combination {
  std::string entity;
  std::string descriptor;
  std::string text;  ///< of the descriptor's attribute
};

/// What a document says about a metric. Empty where it does not say it.
struct Metric {
  std::string name;  ///< metrics of one name are one in the trace of a whole run
  std::string feature;
  std::string kind;  ///< one of kMetricKinds (formats/metric_kinds.h)
  std::string quantity;
  std::string units;  ///< of the values: those of the rate where `isRate`
  std::vector<std::string> states;
  std::vector<Combination> combinations;
  std::string baseUnits;     ///< of the quantity, where `isRate`
  std::optional<Rate> rate;  ///< that the quantity has
  bool isRate = false;       ///< the values are rates
  std::int64_t id = 0;       ///< in numbered files
};

/// One point. Its texts are valid during the call that hands it out.
struct Point {
  std::size_t metric = 0;   ///< position in `metrics()`
  std::string_view series;  ///< what it was measured on
  std::uint64_t start = 0;  ///< microseconds from the start of the collection; ticks in a
                            ///< numbered file
  double duration = 0.0;    ///< microseconds; in a numbered file of a rate its own unit
  /// Each with the name of its state or descriptor, or "y" and "y1" where it has none. States that
  /// the trace does not name have their number. A numbered file has one value per point.
  std::vector<std::pair<std::string_view, double>> values;
};

/// Strict reader of JSON traces: of the file of a whole run, or of the numbered files of a
/// continuous run in their order, one call of `readFile` each. The format:
/// docs/formats/json-trace.md.
///
///     std::ifstream file("run.ztjson", std::ios::binary);
///     ztjson::ZtjsonReader reader;
///     try {
///       reader.readFile(file, [&](const ztjson::Point& point) {
///         for (const auto& [name, value] : point.values)
///           std::cout << reader.metrics()[point.metric].name << ' ' << point.series << ' '
///                     << point.start << ' ' << name << ' ' << value << '\n';
///       });
///     } catch (const FormatError& fault) {
///       std::cerr << "run.ztjson: " << fault.what() << '\n';
///     }
///
/// Not for use by several threads at once. A file is in memory while it is read.
class ZtjsonReader {
 public:
  using PointSink = std::function<void(const Point&)>;

  ZtjsonReader() = default;
  ZtjsonReader(const ZtjsonReader&) = delete;
  ZtjsonReader& operator=(const ZtjsonReader&) = delete;

  /// Reads one file and hands out its points in the order of the document. `file` is not owned and
  /// must be open in binary mode. What the document says of the system and the metrics is there,
  /// and was checked, before the first point. Throws FormatError at the first fault,
  /// std::bad_alloc, and what `sink` throws; the reader must not be given a file after that.
  ///
  /// After a whole run no file may follow; after a numbered one, only others of the same start.
  void readFile(std::istream& file, const PointSink& sink);

  /// The same point by point: reads one file, which is in memory until the next one is opened, and
  /// checks what it says of the system and the metrics.
  void open(std::istream& file);
  /// Reads the next point of the file, whose texts are valid until the next call; false at its end.
  bool next(Point& point);

  /// Of the last file: whether it was a numbered one, so that times are ticks.
  bool isContinuous() const { return isContinuous_; }
  /// Of the last file: pairs of key and text, in the order of the document.
  const std::vector<std::pair<std::string, std::string>>& system() const { return system_; }
  /// Of all files, in the order in which they came.
  const std::vector<Metric>& metrics() const { return metrics_; }

 private:
  void readSystem(const JsonNode& node, const std::vector<const char*>& groups);
  void readTrace();
  void readGroup(std::string_view name, const JsonNode& group);
  void readUnits(const JsonNode& description, Metric& metric) const;
  void readTracePoint(Point& point);
  void readValues(const Metric& metric, const JsonNode& node, Point& point) const;

  void readNumbered();
  void readStart(const JsonNode& system);
  void readMetric(const JsonNode& node);
  void readPoint(const JsonNode& node, Point& point);

  /// A metric of the numbered files.
  struct Place {
    std::size_t metric = 0;  ///< position in `metrics_`
    int file = 0;            ///< the last one that describes it
  };

  int files_ = 0;
  bool isContinuous_ = false;
  std::string start_;  ///< of the collection, in ticks
  std::vector<std::pair<std::string, std::string>> system_;
  std::vector<Metric> metrics_;
  std::map<std::int64_t, Place> places_;                  ///< by id
  std::unordered_map<std::string, std::uint64_t> times_;  ///< of a series: its last one
  std::string series_;
  // The last file, and where its next point is.
  JsonDocument document_;
  std::optional<JsonNode> root_;
  std::optional<JsonNode> data_;
  std::optional<TraceCursor> cursor_;  ///< of a whole run
  rapidjson::SizeType pointAt_ = 0;    ///< of a numbered file
};

}  // namespace ztjson
