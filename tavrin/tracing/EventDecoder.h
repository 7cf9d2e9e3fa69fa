#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "tavrin/events/EventMetrics.h"
#include "tavrin/events/KernelEvent.h"
#include "tavrin/tracing/TraceApi.h"

namespace tavrin {

/// The bytes of one event as its format lays them out. Nothing outside of them is read, whatever
/// they say.
class EventRecord {
 public:
  using Field = trace_api_field;

  EventRecord(std::span<const std::byte> bytes, const Field* fields)
      : bytes_(bytes), fields_(fields) {}

  /// Of a field by its index among those that the event's decoder wants; 0 outside of the bytes.
  long long number(std::size_t field) const;
  std::string_view text(std::size_t field) const;
  template <typename Number>
  Number as(std::size_t field) const {
    return static_cast<Number>(number(field));
  }

 private:
  std::span<const std::byte> bytes_;
  const Field* fields_;
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
  /// Takes an event with the text of its "format" file. Returns 0, or 1 when the text is none or a
  /// field that is needed is not in it.
  int add(const KnownEvent& event, std::string_view format);

  /// Nothing for an event that was not added. The texts are those in `bytes`, which have to be of
  /// this machine's byte order.
  std::optional<KernelEvent::What> decode(std::span<const std::byte> bytes) const;

 private:
  struct Format {
    const KnownEvent* event = nullptr;
    std::array<EventRecord::Field, KnownEvent::kMostFields> fields{};
  };
  struct FreeFormats {
    void operator()(tep_handle* formats) const { trace_api_free_formats(formats); }
  };

  std::unique_ptr<tep_handle, FreeFormats> parsed_{trace_api_new_formats()};
  std::vector<Format> formats_;  // by the id of the event
};

}  // namespace tavrin
