#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "formats/ztbin_format.h"
#include "writers/common/SeriesIndex.h"
#include "writers/common/WriterLog.h"
#include "writers/continuous/ElementValue.h"
#include "writers/continuous/PointBuffer.h"
#include "writers/continuous/RecordBlocks.h"
#include "writers/continuous/WholeFile.h"
#include "writers/host/LogChannels.h"
#include "writers/host/Metric.h"
#include "writers/host/SystemMetadata.h"

/// The lines of the binary writer that its debug switch shows at any verbosity.
inline const WriterLog kBinaryLog(kBinaryChannel);

/// Turns the messages of one run into the records of a binary stream and writes them to files. The
/// format: docs/formats/binary-stream.md.
///
/// Strings and descriptors keep their indices for the whole run, so every file builds on the files
/// before it, unless `beginAnew` has them described again. A series (metric, entity, descriptor)
/// resolves its indices once: from then on a point costs no look-up of a text.
class BinaryEncoder {
 public:
  /// `baseName` is a path without extension.
  explicit BinaryEncoder(std::string baseName);

  /// Takes the clock from the system description, which is not owned and must outlive the encoder.
  void setSystem(const pwr::SystemMetadata* metadata);
  /// The description of the last `setSystem`; one that knows nothing before that.
  const pwr::SystemMetadata& system() const { return *system_; }

  /// Appends one point per data element of the metric.
  void encode(const pwr::Metric& metric);

  enum class Naming { Whole, Numbered };
  /// Writes all records since the last file that was complete: "BASE.ztbin", or "BASE_N.ztbin",
  /// where N counts the complete files of the process. Returns false, having told why, when the
  /// file is not complete: the next one will have its records and, if it is numbered, its number.
  bool writeFile(const pwr::SystemMetadata& metadata, Naming naming, Unfinished unfinished);
  /// Has the next file describe all that it uses, from string 1 on. Call when there are no records
  /// since the last file.
  void beginAnew();

 private:
  struct Series {
    std::uint16_t descriptorId = 0;
    std::uint16_t key = 0;  ///< 0 until its first point
  };
  struct MetricState {
    std::uint32_t id = 0;
    bool isRate = false;  ///< durations are not in ticks
    bool described = false;
    SeriesIndex<Series> series;
  };
  struct Duration {
    unsigned long long ticks = 0;
    bool isRate = false;
    double converted = 0.0;
  };
  struct Tables {
    std::vector<std::uint32_t> combinations;
    std::vector<std::uint16_t> values;
  };
  struct IndexCounter {
    const char* what;
    std::uint16_t last = 0;
    bool warned = false;

    void warnAtEnd_i();
  };

  std::uint16_t getStringStoreIndex_i(const std::string& text);
  std::uint16_t storeString_i(const std::string& text);
  std::uint16_t getEntityId_i(const pwr::DataDescriptor* descriptor);
  MetricState& stateOf_i(const pwr::Metric& metric);
  /// False, which is told, when the element has nothing that a point could have.
  bool readValue_i(const pwr::Metric& metric, const pwr::DataElement& element) {
    if (element.getDescriptor() != nullptr) {
      value_.read(*element.getValue());
      if (value_.kind() != ElementValue::Kind::None) return true;
    }
    tellLeftOut_i(metric, element);
    return false;
  }
  void tellLeftOut_i(const pwr::Metric& metric, const pwr::DataElement& element);
  void describe_i(const pwr::Metric& metric);
  Tables storeTables_i(const pwr::Metric& metric);
  double durationOf_i(const pwr::DataElement& element, bool isRate);
  void logPoint_i(const pwr::Metric& metric, const pwr::DataElement& element, double value) const;
  void buildSystemRecord_i(const pwr::SystemMetadata& metadata);
  bool flushBuffers_i(pwr::Logger& output);
  RecordBlocks& buffer_i(ztbin::RecordType type) {
    return buffers_[static_cast<std::size_t>(type)];
  }

  const std::string baseName_;
  const pwr::SystemMetadata* system_;
  double tickPeriod_ = 1.0;  ///< microseconds
  std::unordered_map<std::string, std::uint16_t> strings_;
  IndexCounter stringCounter_{"string"};
  bool hasCutString_ = false;
  std::unordered_map<const pwr::DataHandle*, std::uint16_t> entities_;
  IndexCounter entityCounter_{"descriptor"};
  std::unordered_map<unsigned int, MetricState> metrics_;
  const pwr::MetricDescription* lastDescription_ = nullptr;
  MetricState* lastState_ = nullptr;
  /// A metric without a quantity repeats the fields of the one described before.
  std::array<std::byte, ztbin::metric_record::kFixedSize> metricTemplate_{};
  Duration duration_;                                          ///< of the last element
  std::array<RecordBlocks, ztbin::kRecordTypes - 1> buffers_;  ///< of all types but points
  PointBuffer points_;
  ElementValue value_;
  ToldProblems told_;
};
