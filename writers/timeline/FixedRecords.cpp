#include "writers/timeline/FixedRecords.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "formats/pwr_format.h"
#include "writers/timeline/RecordBytes.h"
#include "writers/timeline/TimelineLog.h"

namespace {

using pwrfile::FixedRecord;

int writeTo(TimelineOutput& output, const RecordBytes& record, std::uint64_t streamKey) {
  return output.writeRecord(streamKey, record.data(), record.size());
}

/// For records of variable size; `name` is how messages call them.
int writeChecked(const char* name, TimelineOutput& output, const RecordBytes& record,
                 std::uint64_t streamKey) {
  if (record.hasStatedSize()) return writeTo(output, record, streamKey);
  TIMELINE_WARNING("%s record size mismatch.\n", name);
  return 1;
}

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
  return writeChecked("Collection info", output, bytes, streamKey);
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
  return writeChecked("System info", output, bytes, streamKey);
}

/// Each failure also tells the other frequency, which is the valid one.
bool checkFrequencies(const SystemSnapshot& system) {
  const unsigned long long tscHz = system.tscHz;
  const unsigned long long cpuHz = system.cpuHz;
  if (tscHz == 0) {
    TIMELINE_WARNING("Invalid TSC clock frequency: %lluHz\n", tscHz);
    TIMELINE_INFO("CPU frequency: %lluHz\n", cpuHz);
    return false;
  }
  if (cpuHz == 0) {
    TIMELINE_WARNING("Invalid CPU frequency: %lluHz\n", cpuHz);
    TIMELINE_INFO("TSC clock frequency: %lluHz\n", tscHz);
    return false;
  }
  TIMELINE_DEBUG(
      "TSC frequency: %lluHz, CPU frequency: %lluHz, Korvell CPU "
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
  return writeChecked("Hardware configuration", output, bytes, streamKey);
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
  return writeTo(output, bytes, streamKey);
}

int writeFrequency(const SystemSnapshot& system, std::uint64_t streamKey, TimelineOutput& output) {
  namespace record = pwrfile::frequency_record;
  RecordBytes bytes;
  bytes.putHeader(FixedRecord::Frequency, record::kSize);
  bytes.put(record::kKindValue);
  bytes.putZeroes(record::kCpuMhz - record::kKind - sizeof(record::kKindValue));
  bytes.put(static_cast<std::uint32_t>(system.cpuMhz));
  return writeTo(output, bytes, streamKey);
}

}  // namespace

int writeMagicRecord(std::uint64_t streamKey, TimelineOutput& output) {
  RecordBytes bytes;
  bytes.put(pwrfile::magic_record::kMark);
  bytes.put(pwrfile::magic_record::kMagic);
  return writeTo(output, bytes, streamKey);
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
    TIMELINE_WARNING("Failed to write %s record.\n", step.name);
    return 1;
  }
  return 0;
}
