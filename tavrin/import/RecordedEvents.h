#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tavrin/decoding/EventDecoder.h"
#include "tavrin/events/KernelEvent.h"
#include "tavrin/import/Recording.h"
#include "tavrin/import/SymbolTable.h"

namespace tavrin {

/// Turns the bytes of a recording's events into what they say. The fields of events that nobody
/// wants are not read, nor their texts made.
class RecordedEvents {
 public:
  /// Whether the fields of events like this one, which has none itself, are of any use.
  using IsWanted = std::function<bool(const KernelEvent& kind)>;
  /// The text of the kernel's symbols; called when the first one is needed.
  using Symbols = std::function<std::string()>;

  /// `recording` is not owned and stays as it is.
  RecordedEvents(const Recording& recording, IsWanted isWanted, Symbols symbols);

  /// Null for an event that the recording does not describe, which is counted. Time and CPU are not
  /// set. Valid until the next call.
  KernelEvent* decode(std::span<const std::byte> bytes);

  unsigned long long unknown() const { return unknown_; }

 private:
  /// What there is to know of the events of one id.
  struct Kind {
    const RecordedFormat* format = nullptr;
    bool isKnown = false;            ///< the decoder has it
    std::optional<bool> isWanted{};  ///< asked when the first one comes
    const FormatField* task = nullptr;
    const FormatField* print = nullptr;   ///< the address of a format or a text
    const FormatField* values = nullptr;  ///< what the format is for
    const FormatField* text = nullptr;
  };

  void add(const RecordedFormat& format);
  OtherEvent other(Kind& kind, const EventRecord& record);
  std::string textOf(const Kind& kind, const EventRecord& record);
  EventField::Value valueOf(const FormatField& field, const EventRecord& record);
  std::string numbersOf(const FormatField& field, std::span<const std::byte> bytes) const;

  const Recording& recording_;
  const IsWanted isWanted_;
  const Symbols symbols_;
  std::unique_ptr<SymbolTable> symbolTable_;
  EventDecoder decoder_;
  std::vector<Kind> kinds_;  // by id
  KernelEvent event_;
  std::vector<EventField> fields_;  // of the present event
  std::vector<std::string> texts_;  // that are made for them
  std::string text_;                // of the present event
  unsigned long long unknown_ = 0;
};

}  // namespace tavrin
