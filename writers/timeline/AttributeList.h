#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "formats/pwr_format.h"
#include "writers/common/LittleEndian.h"
#include "writers/timeline/TimelineLog.h"

/// The attributes of one data record, each where the record has it, with room in front of them for
/// the start of the record. Made for the stack of the caller: nothing is set in the record at
/// first, and nothing allocates.
struct AttributeList {
  static constexpr std::size_t kCapacity = pwrfile::zt2_record::kMaxAttributes;

  std::uint32_t count = 0;
  /// Whether the lines about attributes are shown: asked once per record, not for each of them.
  bool isLogged = kTimelineLog.shows(PW_LOG_DEBUG);
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  std::array<std::byte, pwrfile::zt2_record::kMaxSize> record;

  // Not an aggregate: `AttributeList list{}` would set 24 KiB to zero for each record.
  AttributeList() {}  // NOLINT

  /// There must be room for one more.
  void add(std::uint32_t type, std::uint64_t value) {
    std::byte* const place = record.data() + end();
    putLittleEndian(place, type);
    putLittleEndian(place + sizeof type, value);
    ++count;
  }

  std::uint32_t typeAt(std::size_t index) const {
    return getLittleEndian<std::uint32_t>(record.data() + placeOf(index));
  }
  std::uint64_t valueAt(std::size_t index) const {
    return getLittleEndian<std::uint64_t>(record.data() + placeOf(index) + sizeof(std::uint32_t));
  }

  /// Size of the record with these attributes, in bytes.
  std::size_t end() const { return placeOf(count); }

 private:
  static std::size_t placeOf(std::size_t index) {
    return pwrfile::zt2_record::kAttributes + index * pwrfile::zt2_record::kAttributeSize;
  }
};
