#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "formats/ztbin_format.h"
#include "readers/FormatError.h"
#include "readers/ZtbinRecord.h"

namespace ztbin {

/// The system record. Timestamps are in ticks, frequencies in MHz.
struct System {
  std::uint64_t startTimestamp = 0;
  std::uint64_t stopTimestamp = 0;
  float durationSec = 0.0F;
  float hfmFrequency = 0.0F;
  float lfmFrequency = 0.0F;
  float cpuFrequency = 0.0F;
  float busFrequency = 0.0F;
  std::uint32_t platformId = 0;
  std::string platformName;
  std::string cpuName;
  std::string cpuNativeName;
  std::string pchName;
  std::string hostName;
  std::uint16_t packages = 0;
  std::uint16_t modules = 0;
  std::uint16_t cores = 0;
  std::uint16_t threads = 0;
  std::string osType;
  std::string osName;
};

// Texts of the following are indices into the string table: a description may name the same string
// any number of times, and must not take more memory than the file that it comes from.

struct Descriptor {
  std::uint16_t text = 0;
  std::uint16_t name = 0;
};

struct Combination {
  std::uint16_t entity = 0;      ///< 0: none
  std::uint16_t descriptor = 0;  ///< id; 0: none
};

struct Metric {
  std::uint16_t feature = 0;
  std::uint16_t name = 0;
  std::uint16_t kind = 0;
  bool hasQuantity = false;  ///< may be that of an earlier metric, see the format's page
  std::uint16_t quantity = 0;
  std::uint16_t units = 0;
  std::vector<Combination> combinations;
  std::vector<std::uint16_t> values;
  std::uint64_t points = 0;  ///< read so far
};

struct Point {
  std::uint64_t timestamp = 0;  ///< ticks
  float duration = 0.0F;        ///< microseconds; unconverted for a metric that is a rate
  std::uint32_t metric = 0;     ///< id
  std::uint16_t key = 0;
  std::uint16_t descriptor = 0;  ///< id
  float value = 0.0F;
};

/// Strict reader of a binary stream: of the file of a whole run, or of the files of a continuous
/// run in the order in which they were written, since strings, descriptors and metrics of one file
/// are used by those that follow. One that begins anew, with string 1, forgets what the files
/// before it have described; such files may be missing. The format: docs/formats/binary-stream.md.
///
///     std::ifstream file("run.ztbin", std::ios::binary);
///     ztbin::ZtbinReader reader;
///     try {
///       reader.readFile(file, [&](const ztbin::Point& point) {
///         std::cout << point.timestamp << ' ' << reader.text(point.key) << ' '
///                   << reader.text(reader.descriptor(point.descriptor).name) << ' '
///                   << point.value << '\n';
///       });
///     } catch (const FormatError& fault) {
///       std::cerr << "run.ztbin: " << fault.what() << '\n';
///     }
///
/// Every index is checked before it is used, every size against what the record says it holds. Not
/// for use by several threads at once. Memory is taken for what the run describes, not for points.
class ZtbinReader {
 public:
  using PointSink = std::function<void(const Point&)>;

  /// Reads the next file of the run. `file` is not owned and must be open in binary mode. Points
  /// are not kept, only handed out, in the order of the file; their indices are valid, and so is
  /// what they refer to. Throws FormatError at the first fault, and what `sink` throws; the reader
  /// must not be given a file after that, but tells what it read before.
  ///
  /// A file that was cut off is a fault where anything shows it: the middle of a record, something
  /// described that nothing uses. What cannot show is how many points there were behind the last.
  void readFile(std::istream& file, const PointSink& sink);

  /// The same point by point: reads the next file of the run up to its first point. `file` must
  /// stay until `next` has returned false.
  void open(std::istream& file);
  /// Reads the next point of the file; false at its end.
  bool next(Point& point);

  /// Of the last file.
  const System& system() const { return system_; }
  /// Whether it describes all that it uses, as the first file of a run does.
  bool isAnew() const { return isAnew_; }
  /// `index` must be one that a record has, other than 0. The text stays where it is, also after
  /// a file that begins anew, and equal texts are at one place.
  const std::string& text(std::uint16_t index) const { return *strings_[index - 1U]; }
  const Descriptor& descriptor(std::uint16_t id) const { return descriptors_[id - 1U]; }
  /// By id.
  const std::map<std::uint32_t, Metric>& metrics() const { return metrics_; }
  /// The ids of those that the last file has described, in its order.
  const std::vector<std::uint32_t>& newMetrics() const { return newMetrics_; }
  std::size_t stringCount() const { return strings_.size(); }
  std::size_t descriptorCount() const { return descriptors_.size(); }

 private:
  /// A series by its metric and the places of its texts.
  using SeriesName =
      std::tuple<std::uint32_t, const std::string*, const std::string*, const std::string*>;

  void startFile();
  void beginAnew();
  bool nextRecord();
  void readDescription(const ZtbinRecord& record);
  void readString(const ZtbinRecord& record);
  void readSystem(const ZtbinRecord& record);
  void readDescriptor(const ZtbinRecord& record);
  void readMetric(const ZtbinRecord& record);
  void readQuantity(const ZtbinRecord& record, Metric& metric);
  void readTables(const ZtbinRecord& record, Metric& metric);
  Point readPoint(const ZtbinRecord& record);
  SeriesName nameOf(std::uint64_t series) const;
  void requireOrder(const ZtbinRecord& record, const Point& point, const Metric& metric);
  void requireKey(const ZtbinRecord& record, const Metric& metric) const;
  void requireUses(std::uint64_t end) const;
  /// These two note that something is used.
  std::uint16_t stringAt(const ZtbinRecord& record, std::size_t at);
  void requireDescriptor(const ZtbinRecord& record, std::size_t at, std::uint16_t id);

  struct Counts {
    std::size_t strings = 0;
    std::size_t descriptors = 0;
  };

  int files_ = 0;
  std::optional<ZtbinRecord> record_;  ///< of the last file
  bool isAtPoint_ = false;             ///< the record is a point that was not handed out yet
  int lastType_ = 0;
  bool hasSystem_ = false;
  System system_;
  bool isAnew_ = false;
  std::unordered_set<std::string> texts_;
  std::vector<const std::string*> strings_;
  std::vector<bool> stringUses_;
  std::vector<Descriptor> descriptors_;
  std::vector<bool> descriptorUses_;
  std::map<std::uint32_t, Metric> metrics_;
  Counts known_;                           ///< from the files before
  std::vector<std::uint32_t> newMetrics_;  ///< ids; of this file
  /// The last time of each series, which metric, key and descriptor make.
  std::unordered_map<std::uint64_t, std::uint64_t> times_;
  /// The same by texts, from before the file that began anew.
  std::map<SeriesName, std::uint64_t> earlierTimes_;
};

}  // namespace ztbin
