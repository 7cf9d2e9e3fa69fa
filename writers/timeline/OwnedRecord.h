#pragma once

#include <cstddef>
#include <cstdint>

#include "formats/pwr_format.h"
#include "writers/common/EventAttributes.h"
#include "writers/common/LittleEndian.h"

/// The process and the thread that an event belongs to, by the ids of their descriptions. One that
/// is not told has none.
struct OwnerIds {
  std::uint64_t process = 0;
  std::uint64_t thread = 0;
};

/// The process and the thread in the data record of an event. While the run goes on the record has
/// their numbers; whose they were at that time is known at the end, and takes their place then.
class OwnedRecord {
 public:
  /// `record`: a whole data record, which must outlive this.
  explicit OwnedRecord(std::byte* record) : record_(record) {
    using pwrfile::AttributeType;
    namespace zt2 = pwrfile::zt2_record;
    const std::size_t count = getLittleEndian<std::uint16_t>(record + zt2::kCount);
    for (std::size_t i = 0; i < count; ++i) {
      std::byte* const place = record + zt2::kAttributes + i * zt2::kAttributeSize;
      const auto type = static_cast<AttributeType>(getLittleEndian<std::uint32_t>(place));
      if (type == AttributeType::Process) process_ = place + sizeof(std::uint32_t);
      if (type == AttributeType::Thread) thread_ = place + sizeof(std::uint32_t);
      // What may stand in front of the two has a lower type, what stands behind them a higher one.
      if (type >= AttributeType::Thread) break;
    }
  }

  /// Of the event, in ticks.
  std::uint64_t tsc() const { return getLittleEndian<std::uint64_t>(record_ + pwrfile::kDataTsc); }

  EventOwner owner() const {
    EventOwner owner;
    if (process_ != nullptr) owner.pid = getLittleEndian<std::uint64_t>(process_);
    if (thread_ != nullptr) owner.tid = getLittleEndian<std::uint64_t>(thread_);
    return owner;
  }

  void setIds(const OwnerIds& ids) {
    if (process_ != nullptr) putLittleEndian(process_, ids.process);
    if (thread_ != nullptr) putLittleEndian(thread_, ids.thread);
  }

 private:
  std::byte* const record_;
  std::byte* process_ = nullptr;
  std::byte* thread_ = nullptr;
};
