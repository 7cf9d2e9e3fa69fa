#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <span>
#include <vector>

#include "readers/PwrInfoTable.h"
#include "readers/PwrSystem.h"

namespace pwrfile {

struct Attribute {
  AttributeType type = AttributeType::Metric;
  std::uint64_t value = 0;  ///< an id, a number, or the bits of a real (see `PwrReader::real`)
};

/// One sample, event or state of a metric.
struct DataRecord {
  std::uint64_t tsc = 0;  ///< ticks
  const Info& metric;
  std::span<const Attribute> attributes;  ///< in the order of the file; the first is the metric
};

/// Name of an attribute's type, "METRIC" for example.
const char* attributeName(AttributeType type);
/// Whether the value of such attributes is the id of an info record.
bool isReference(AttributeType type);

/// Takes what a reader reads. The operations are called in this order: `system` once, `info` for
/// every info record, `endOfMetadata` once, `data` for every data record.
class PwrSink {
 public:
  PwrSink() = default;
  PwrSink(const PwrSink&) = delete;
  PwrSink& operator=(const PwrSink&) = delete;
  virtual ~PwrSink() = default;

  virtual void system(const System& /*system*/) {}
  virtual void info(const Info& /*info*/) {}
  virtual void endOfMetadata() {}
  /// The record is gone when this returns.
  virtual void data(const DataRecord& /*record*/) {}
};

/// Reader of a timeline file (docs/formats/timeline.md). It keeps the descriptions in memory and
/// hands out the data records one by one. Accepts nothing but what the format says.
class PwrReader {
 public:
  /// Reads a whole file; a reader reads one. Throws FormatError at the first fault.
  void readFile(std::istream& file, PwrSink& sink);

  /// The same record by record: reads the file up to the first data record and hands out what comes
  /// before. `file` must stay as long as `next` is called.
  void open(std::istream& file, PwrSink& sink);
  /// The next data record, which is gone with the one after; none at the end of the file.
  std::optional<DataRecord> next();

  const System& system() const { return system_; }
  const PwrInfoTable& infos() const { return infos_; }
  /// The version of the file's records: kLegacyVersion or kVersion; 0 until the first info.
  std::uint16_t version() const { return version_; }
  /// The number that a real's value or bound stands for, which depends on the version. (Whole
  /// numbers of the legacy version from 2^63 on cannot be told from negative ones.)
  double real(std::uint64_t value) const;

 private:
  void checkVersion(const PwrRecord& record);
  void readMetadata(PwrRecord& record, PwrSink& sink);
  DataRecord readData(const PwrRecord& record);
  void readAttributes(const PwrRecord& record);
  void checkReferences(const PwrRecord& record) const;
  void beginMetric(const PwrRecord& record);

  std::optional<PwrRecord> record_;
  System system_;
  PwrInfoTable infos_;
  std::uint16_t version_ = 0;
  std::vector<Attribute> attributes_;
  const Info* metric_ = nullptr;  ///< of the last data record
};

}  // namespace pwrfile
