#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "tavrin/common/ByteOrder.h"
#include "tavrin/decoding/EventFormat.h"
#include "tavrin/events/EventMetrics.h"
#include "tavrin/events/KernelEvent.h"

namespace tavrin {

/// The bytes of one event as its format lays them out. Nothing outside of them is read, whatever
/// they say.
class EventRecord {
 public:
  /// `fields`: those that the event's decoder wants.
  EventRecord(std::span<const std::byte> bytes, const FieldPlace* fields, ByteOrder order)
      : bytes_(bytes), fields_(fields), order_(order) {}

  /// 0 outside of the bytes.
  long long number(const FieldPlace& field) const;
  /// What the field is, or what is where it points to.
  std::span<const std::byte> content(const FieldPlace& field) const;
  std::string_view text(const FieldPlace& field) const;

  // The same of a field by its index among those that the decoder wants.
  long long number(std::size_t field) const { return number(fields_[field]); }
  std::string_view text(std::size_t field) const { return text(fields_[field]); }
  template <typename Number>
  Number as(std::size_t field) const {
    return static_cast<Number>(number(field));
  }

 private:
  std::span<const std::byte> bytes_;
  const FieldPlace* fields_;
  ByteOrder order_;
};

/// An event of the kernel that the tool knows.
struct KnownEvent {
  static constexpr std::size_t kMostFields = 3;

  const char* system;
  const char* name;
  EventGroup group;
  /// Null where there are fewer.
  std::array<const char*, kMostFields> fields;
  KernelEvent::What (*decode)(const EventRecord& record);
};

/// All known events.
std::span<const KnownEvent> knownEvents();

/// Turns the bytes of events, as the kernel's buffers and recordings of them have them, into
/// `KernelEvent`s. The format of each event is parsed once.
class EventDecoder {
 public:
  /// `order`: of the machine that the events are of.
  explicit EventDecoder(ByteOrder order = ByteOrder()) : order_(order) {}

  /// Takes an event with what its "format" file says. Returns 0, or 1 when a field that is needed
  /// is not in it.
  int add(const KnownEvent& event, const EventFormat& format);

  /// Nothing for an event that was not added. The texts are those in `bytes`.
  std::optional<KernelEvent::What> decode(std::span<const std::byte> bytes) const;

 private:
  struct Format {
    const KnownEvent* event = nullptr;
    std::array<FieldPlace, KnownEvent::kMostFields> fields{};
  };

  ByteOrder order_;
  std::vector<Format> formats_;  // by the id of the event
};

}  // namespace tavrin
