#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <map>
#include <string>
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
};

struct Point {
  std::uint64_t timestamp = 0;  ///< ticks
  float duration = 0.0F;        ///< microseconds; unconverted for a metric that is a rate
  std::uint32_t metric = 0;     ///< id
  std::uint16_t key = 0;
  std::uint16_t descriptor = 0;  ///< id
  float value = 0.0F;
};

/// Strict decoder of a binary stream. Reads the files of one run, in the order in which they were
/// written: strings, descriptors and metrics of one file are used by those that follow. Every index
/// is checked before it is used, and every size against what the record says it holds. The format:
/// docs/formats/binary-stream.md.
class ZtbinReader {
 public:
  using PointSink = std::function<void(const Point&)>;

  /// Reads the next file of the run. Throws FormatError at the first fault; the reader is good for
  /// nothing more then, except for what it read before. Points are not kept, only handed out; their
  /// indices are valid, and so is what they refer to.
  void readFile(std::istream& file, const PointSink& sink);

  /// Of the last file.
  const System& system() const { return system_; }
  /// `index` must be one that a record of the run has, other than 0.
  const std::string& text(std::uint16_t index) const { return strings_[index - 1U]; }
  const Descriptor& descriptor(std::uint16_t id) const { return descriptors_[id - 1U]; }
  /// By id.
  const std::map<std::uint32_t, Metric>& metrics() const { return metrics_; }
  std::size_t stringCount() const { return strings_.size(); }
  std::size_t descriptorCount() const { return descriptors_.size(); }

 private:
  void readString(const ZtbinRecord& record);
  void readSystem(const ZtbinRecord& record);
  void readDescriptor(const ZtbinRecord& record);
  void readMetric(const ZtbinRecord& record);
  void readQuantity(const ZtbinRecord& record, Metric& metric) const;
  void readTables(const ZtbinRecord& record, Metric& metric) const;
  Point readPoint(const ZtbinRecord& record) const;
  std::uint16_t stringAt(const ZtbinRecord& record, std::size_t at) const;
  void requireDescriptor(const ZtbinRecord& record, std::size_t at, std::uint16_t id) const;

  System system_;
  std::vector<std::string> strings_;
  std::vector<Descriptor> descriptors_;
  std::map<std::uint32_t, Metric> metrics_;
};

}  // namespace ztbin
