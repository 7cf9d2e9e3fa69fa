#include "writers/timeline/FixedRecords.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "formats/pwr_format.h"
#include "writers/LittleEndian.h"
#include "writers/timeline/TimelineLog.h"

namespace {

using pwrfile::FixedRecord;

/// A record under construction, filled field by field.
class RecordBytes {
 public:
  template <typename T>
  void put(T value) {
    std::array<std::byte, sizeof(T)> field{};
    putLittleEndian(field.data(), value);
    for (const std::byte byte : field) bytes_ += static_cast<char>(byte);
  }
  /// The header; `expectedSize` is the size that the whole record should come to.
  void putHeader(FixedRecord id, std::size_t expectedSize) {
    using namespace pwrfile;
    put(kFixedMark);
    put(static_cast<std::uint16_t>(expectedSize - kFixedLengthLess));
    put(static_cast<std::uint16_t>(id));
    put(kFixedVersionValue);
  }
  void putText(std::string_view text) { bytes_ += text; }
  void putZeroes(std::size_t count) { bytes_.append(count, '\0'); }

  int writeTo(TimelineOutput& output, std::uint64_t streamKey) const {
    return output.writeRecord(streamKey, reinterpret_cast<const std::byte*>(bytes_.data()),
                              bytes_.size());
  }
  /// For records of variable size; `name` is how messages call them.
  int writeChecked(const char* name, TimelineOutput& output, std::uint64_t streamKey) const {
    if (hasStatedSize_i()) return writeTo(output, streamKey);
    PW_LOG(kTimelineLog, PW_LOG_WARNING,
           "WARNING: KorvellWriterPlugin:    %s record size mismatch.\n", name);
    return 1;
  }

 private:
  /// Whether the record is as long as its header says: a length beyond 16 bits never is.
  bool hasStatedSize_i() const {
    std::size_t stated = 0;
    for (const std::size_t i : {std::size_t{1}, std::size_t{0}}) {
      stated = stated << 8U | static_cast<unsigned char>(bytes_[pwrfile::kFixedLength + i]);
    }
    return bytes_.size() == stated + pwrfile::kFixedLengthLess;
  }

  std::string bytes_;
};

/// What the file has of a text: it ends at the first NUL, and its length with terminator has to
/// fit into 16 bits.
std::string_view storedText(std::string_view text) {
  constexpr std::size_t kMaxLength = 0xFFFE;
  return text.substr(0, text.find('\0')).substr(0, kMaxLength);
}

int writeMagic(const SystemSnapshot& /*system*/, std::uint64_t streamKey, TimelineOutput& output) {
  return writeMagicRecord(streamKey, output);
}

int writeCollectionInfo(const SystemSnapshot& system, std::uint64_t streamKey,
                        TimelineOutput& output) {
  namespace record = pwrfile::collection_record;
  RecordBytes bytes;
  bytes.putHeader(FixedRecord::CollectionInfo, record::kName + record::kCollector.size());
  bytes.put(system.collectorField1);
  bytes.put(system.collectorField2);
  bytes.put(std::uint32_t{system.collectorField3});
  bytes.put(record::kFlagsValue);
  bytes.put(static_cast<std::uint8_t>(record::kCollector.size()));
  bytes.putText(record::kCollector);
  return bytes.writeChecked("Collection info", output, streamKey);
}

int writeSystemInfo(const SystemSnapshot& system, std::uint64_t streamKey, TimelineOutput& output) {
  namespace record = pwrfile::system_record;
  const std::array<std::string_view, record::kStringCount> texts = {
      storedText(system.hostName), storedText(system.platformName), storedText(system.osName), ""};
  std::size_t size = record::kFixedSize;
  for (const std::string_view text : texts) size += text.size();
  RecordBytes bytes;
  bytes.putHeader(FixedRecord::SystemInfo, size);
  bytes.put(static_cast<std::uint16_t>(system.osArchCode));
  for (const std::uint16_t part : system.osVersion) bytes.put(part);
  for (const std::string_view text : texts) {
    bytes.put(static_cast<std::uint16_t>(text.size() + 1));
    bytes.putText(text);
    bytes.putZeroes(1);
  }
  return bytes.writeChecked("System info", output, streamKey);
}

/// Each failure also tells the other frequency, which is the valid one.
bool checkFrequencies(const SystemSnapshot& system) {
  const unsigned long long tscHz = system.tscHz;
  const unsigned long long cpuHz = system.cpuHz;
  if (tscHz == 0) {
    PW_LOG(kTimelineLog, PW_LOG_WARNING,
           "WARNING: KorvellWriterPlugin:    Invalid TSC clock frequency: %lluHz\n", tscHz);
    PW_LOG(kTimelineLog, PW_LOG_INFO, "INFO: KorvellWriterPlugin:    CPU frequency: %lluHz\n",
           cpuHz);
    return false;
  }
  if (cpuHz == 0) {
    PW_LOG(kTimelineLog, PW_LOG_WARNING,
           "WARNING: KorvellWriterPlugin:    Invalid CPU frequency: %lluHz\n", cpuHz);
    PW_LOG(kTimelineLog, PW_LOG_INFO, "INFO: KorvellWriterPlugin:    TSC clock frequency: %lluHz\n",
           tscHz);
    return false;
  }
  PW_LOG(kTimelineLog, PW_LOG_DEBUG,
         "DEBUG: KorvellWriterPlugin:    TSC frequency: %lluHz, CPU frequency: %lluHz, Korvell CPU "
         "frequency: %lluHz\n",
         tscHz, cpuHz, tscHz);
  return true;
}

int writeHardwareConfiguration(const SystemSnapshot& system, std::uint64_t streamKey,
                               TimelineOutput& output) {
  namespace record = pwrfile::hardware_record;
  if (!checkFrequencies(system)) return 1;
  const bool is32Bit = system.osType == "i386" || system.osType == "i686";
  RecordBytes bytes;
  bytes.putHeader(FixedRecord::Hardware, record::kCpus + system.cpus.size() * record::kCpuSize);
  // The analyzer shows times in ticks of this clock: it gets that of the timestamps twice.
  bytes.put(std::uint64_t{system.tscHz});
  bytes.put(std::uint64_t{system.tscHz});
  bytes.put(is32Bit ? record::kMask32 : record::kMask64);
  bytes.put(static_cast<std::uint8_t>(is32Bit ? 32 : 64));
  for (const std::uint32_t id : system.cpuId) bytes.put(static_cast<std::uint8_t>(id));
  bytes.put(system.cpuCount);
  for (const SystemSnapshot::Cpu& cpu : system.cpus) {
    for (const int id : {0, int{cpu.package}, int{cpu.core}, int{cpu.thread}}) {
      bytes.put(static_cast<std::uint8_t>(id));
    }
  }
  return bytes.writeChecked("Hardware configuration", output, streamKey);
}

int writeCollectionStart(const SystemSnapshot& system, std::uint64_t streamKey,
                         TimelineOutput& output) {
  namespace record = pwrfile::start_record;
  RecordBytes bytes;
  bytes.put(record::kMark);
  bytes.put(record::kSecond);
  bytes.put(record::kThird);
  bytes.put(system.collectionStartTsc);
  bytes.put(system.collectionValueDiv100);
  return bytes.writeTo(output, streamKey);
}

int writeFrequency(const SystemSnapshot& system, std::uint64_t streamKey, TimelineOutput& output) {
  namespace record = pwrfile::frequency_record;
  RecordBytes bytes;
  bytes.putHeader(FixedRecord::Frequency, record::kSize);
  bytes.put(record::kKindValue);
  bytes.putZeroes(record::kCpuMhz - record::kKind - sizeof(record::kKindValue));
  bytes.put(static_cast<std::uint32_t>(system.cpuMhz));
  return bytes.writeTo(output, streamKey);
}

}  // namespace

int writeMagicRecord(std::uint64_t streamKey, TimelineOutput& output) {
  RecordBytes bytes;
  bytes.put(pwrfile::magic_record::kMark);
  bytes.put(pwrfile::magic_record::kMagic);
  return bytes.writeTo(output, streamKey);
}

int writeFixedRecords(const SystemSnapshot& system, std::uint64_t streamKey,
                      TimelineOutput& output) {
  struct Step {
    const char* name;
    int (*write)(const SystemSnapshot&, std::uint64_t, TimelineOutput&);
  };
  // The last two go under the name of the record that they complete.
  static constexpr std::array<Step, 6> kSteps{{
      {"magic", writeMagic},
      {"collection info", writeCollectionInfo},
      {"system info", writeSystemInfo},
      {"hardware configuration", writeHardwareConfiguration},
      {"hardware configuration", writeCollectionStart},
      {"hardware configuration", writeFrequency},
  }};
  for (const Step& step : kSteps) {
    if (step.write(system, streamKey, output) == 0) continue;
    PW_LOG(kTimelineLog, PW_LOG_WARNING,
           "WARNING: KorvellWriterPlugin:    Failed to write %s record.\n", step.name);
    return 1;
  }
  return 0;
}
