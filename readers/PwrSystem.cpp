#include "readers/PwrSystem.h"

#include <algorithm>

namespace pwrfile {

namespace {

void readNext(PwrRecord& record, Frame frame, const char* what) {
  if (!record.next()) record.fail(0, what, "the end of the file");
  if (record.frame() != frame) record.fail(0, what, "another record");
}

/// `minSize`: up to the end of what has a fixed place in the record.
void readNextFixed(PwrRecord& record, FixedRecord id, std::size_t minSize, const char* what) {
  readNext(record, Frame::Fixed, what);
  record.expect(kFixedId, static_cast<std::uint64_t>(id), record.u16(kFixedId), "record id");
  record.expect(kFixedVersion, kFixedVersionValue, record.u32(kFixedVersion), "version");
  if (record.size() < minSize) record.expectSize(minSize, what);
}

void readCollection(PwrRecord& record, System& system) {
  namespace field = collection_record;
  constexpr const char* kWhat = "a collection info record";
  readNextFixed(record, FixedRecord::CollectionInfo, field::kName, kWhat);
  record.expectMark(field::kFlags, field::kFlagsValue, record.u64(field::kFlags), "the flags");
  record.expect(field::kNameLength, field::kCollector.size(), record.u8(field::kNameLength),
                "the length");
  record.expectSize(field::kName + field::kCollector.size(), kWhat);
  if (const std::string name = record.text(field::kName); name != field::kCollector) {
    record.fail(field::kName, "\"" + std::string(field::kCollector) + "\"", "\"" + name + "\"");
  }
  system.collectorMajor = record.u16(field::kMajor);
  system.collectorMinor = record.u16(field::kMinor);
  system.collectorRevision = record.u32(field::kRevision);
}

/// A string with its length before it and a NUL behind it. `at` moves on behind that.
std::string readString(const PwrRecord& record, std::size_t& at) {
  const std::size_t start = at + sizeof(std::uint16_t);
  if (start > record.size()) record.fail(at, "the length of a string", "the end of the record");
  const std::size_t length = record.u16(at);
  if (length == 0 || length > record.size() - start) {
    record.fail(at, "a length from 1 to " + std::to_string(record.size() - start),
                std::to_string(length));
  }
  at = start + length;
  record.expect(at - 1, 0, record.u8(at - 1), "the closing byte");
  return record.text(start, length - 1);
}

void readSystem(PwrRecord& record, System& system) {
  namespace field = system_record;
  constexpr const char* kWhat = "a system info record";
  readNextFixed(record, FixedRecord::SystemInfo, field::kFixedSize, kWhat);
  system.architecture = record.u16(field::kArchitecture);
  record.require(system.architecture < field::kArchitectures, field::kArchitecture,
                 "an architecture from 0 to 6", system.architecture);
  for (std::size_t i = 0; i < system.osVersion.size(); ++i) {
    system.osVersion[i] = record.u16(field::kOsVersion + i * sizeof(std::uint16_t));
  }
  std::size_t at = field::kStrings;
  system.hostName = readString(record, at);
  system.platformName = readString(record, at);
  system.osName = readString(record, at);
  const std::size_t last = at;
  if (!readString(record, at).empty()) record.expect(last, 1, record.u16(last), "the length");
  record.expectSize(at, kWhat);
}

void readHardware(PwrRecord& record, System& system) {
  namespace field = hardware_record;
  constexpr const char* kWhat = "a hardware configuration record";
  readNextFixed(record, FixedRecord::Hardware, field::kCpus, kWhat);
  const std::uint64_t tscHz = record.u64(field::kTscHz);
  record.require(tscHz > 0 && tscHz <= 0xFFFFFFFF, field::kTscHz,
                 "a frequency from 1 to 4294967295 Hz", tscHz);
  record.expect(field::kCpuHz, tscHz, record.u64(field::kCpuHz), "once more the frequency");
  system.tscHz = static_cast<std::uint32_t>(tscHz);
  system.addressBits = record.u8(field::kAddressBits);
  record.require(system.addressBits == 32 || system.addressBits == 64, field::kAddressBits,
                 "32 or 64 bits", system.addressBits);
  record.expectMark(field::kAddressMask, system.addressBits == 32 ? field::kMask32 : field::kMask64,
                    record.u64(field::kAddressMask), "the address mask");
  for (std::size_t i = 0; i < system.cpuId.size(); ++i) {
    system.cpuId[i] = record.u8(field::kCpuId + i);
  }
  const std::size_t cpuCount = (record.size() - field::kCpus) / field::kCpuSize;
  record.expect(field::kCpuCount, cpuCount, record.u32(field::kCpuCount), "the number of CPUs");
  record.expectSize(field::kCpus + cpuCount * field::kCpuSize, kWhat);
  for (std::size_t at = field::kCpus; at < record.size(); at += field::kCpuSize) {
    record.expect(at, 0, record.u8(at), "the byte");
    system.cpus.push_back({record.u8(at + 1), record.u8(at + 2), record.u8(at + 3)});
  }
}

void readStart(PwrRecord& record, System& system) {
  namespace field = start_record;
  readNext(record, Frame::Start, "a collection start record");
  record.expectMark(4, field::kSecond, record.u32(4), "the mark");
  record.expect(8, field::kThird, record.u8(8), "the byte");
  system.startTsc = record.u64(field::kStartTsc);
  system.startTime = record.u64(field::kStartTime);
}

void readFrequency(PwrRecord& record, System& system) {
  namespace field = frequency_record;
  constexpr const char* kWhat = "a frequency record";
  readNextFixed(record, FixedRecord::Frequency, field::kSize, kWhat);
  record.expectSize(field::kSize, kWhat);
  record.expect(field::kKind, field::kKindValue, record.u16(field::kKind), "the value");
  for (std::size_t at = field::kKind + sizeof(std::uint16_t); at < field::kCpuMhz; ++at) {
    record.expect(at, 0, record.u8(at), "the byte");
  }
  system.cpuMhz = record.u32(field::kCpuMhz);
}

}  // namespace

const char* architectureName(std::uint16_t architecture) {
  constexpr std::array<const char*, system_record::kArchitectures> kNames{
      "Windows i386", "Windows ia64", "Windows x86_64", "i386", "ia64", "x86_64", "other"};
  return architecture < kNames.size() ? kNames[architecture] : "unknown";
}

System readFixedRecords(PwrRecord& record) {
  System system;
  readNext(record, Frame::Magic, "a magic record");
  checkMagic(record);
  readCollection(record, system);
  readSystem(record, system);
  readHardware(record, system);
  readStart(record, system);
  readFrequency(record, system);
  return system;
}

void checkMagic(const PwrRecord& record) {
  record.expectMark(4, magic_record::kMagic, record.u32(4), "the number");
}

}  // namespace pwrfile
