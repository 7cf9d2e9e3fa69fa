#include "tavrin/import/RecordedEvents.h"

#include <algorithm>

#include "tavrin/import/PrintText.h"

namespace tavrin {

namespace {

/// Of an array of numbers.
constexpr std::size_t kMostNumbers = 256;

const KnownEvent* findKnown(const RecordedFormat& format) {
  const auto known = std::ranges::find_if(knownEvents(), [&](const KnownEvent& event) {
    return event.name == format.format.name && event.system == format.system;
  });
  return known == knownEvents().end() ? nullptr : &*known;
}

}  // namespace

RecordedEvents::RecordedEvents(const Recording& recording, IsWanted isWanted, Symbols symbols)
    : recording_(recording),
      isWanted_(std::move(isWanted)),
      symbols_(std::move(symbols)),
      decoder_(recording.order) {
  std::size_t mostFields = 0;
  for (const RecordedFormat& format : recording.formats) {
    add(format);
    mostFields = std::max(mostFields, format.format.fields.size());
  }
  texts_.reserve(mostFields);  // fields refer to them
}

void RecordedEvents::add(const RecordedFormat& format) {
  const std::string& name = format.format.name;
  Kind kind{.format = &format, .task = format.format.find("common_pid")};
  if (const KnownEvent* const known = findKnown(format)) {
    kind.isKnown = decoder_.add(*known, format.format) == 0;
  }
  if (format.system == kTracerSystem && name == "print") {
    kind.text = format.format.find("buf");
  } else if (format.system == kTracerSystem && name == "bprint") {
    kind.print = format.format.find("fmt");
    kind.values = format.format.find("buf");
  } else if (format.system == kTracerSystem && name == "bputs") {
    kind.print = format.format.find("str");
  }
  const std::size_t id = format.format.id;
  if (id >= kinds_.size()) kinds_.resize(id + 1);
  kinds_[id] = kind;
}

KernelEvent* RecordedEvents::decode(std::span<const std::byte> bytes) {
  const std::size_t id = bytes.size() < sizeof(std::uint16_t)
                             ? kinds_.size()
                             : recording_.order.number<std::uint16_t>(bytes.data());
  if (id >= kinds_.size() || kinds_[id].format == nullptr) {
    ++unknown_;
    return nullptr;
  }
  Kind& kind = kinds_[id];
  event_.name = kind.format->format.name;
  event_.system = kind.format->system;
  if (kind.isKnown) {
    event_.what = *decoder_.decode(bytes);
  } else {
    event_.what = OtherEvent{};
    if (!kind.isWanted) kind.isWanted = isWanted_(event_);
    if (*kind.isWanted) event_.what = other(kind, {bytes, nullptr, recording_.order});
  }
  return &event_;
}

OtherEvent RecordedEvents::other(Kind& kind, const EventRecord& record) {
  OtherEvent other;
  if (kind.task != nullptr) {
    other.task = static_cast<int>(record.number(kind.task->place));
    const auto name = recording_.taskNames.find(other.task);
    if (name != recording_.taskNames.end()) other.taskName = name->second;
  }
  text_ = textOf(kind, record);
  other.text = text_;
  fields_.clear();
  texts_.clear();
  for (const FormatField& field : kind.format->format.fields) {
    const bool isTold = &field == kind.print || &field == kind.values || &field == kind.text;
    if (!isTold) fields_.push_back({field.name, valueOf(field, record)});
  }
  other.fields = fields_;
  return other;
}

/// Empty for events that are not one text.
std::string RecordedEvents::textOf(const Kind& kind, const EventRecord& record) {
  std::string text;
  if (kind.text != nullptr) text = record.text(kind.text->place);
  if (kind.print != nullptr) {
    const auto address = static_cast<std::uint64_t>(record.number(kind.print->place));
    const auto format = recording_.printFormats.find(address);
    if (format == recording_.printFormats.end()) return "a text at an address that is not known";
    text = format->second;
  }
  if (kind.values != nullptr && kind.print != nullptr) {
    text = printText(text, record.content(kind.values->place),
                     {recording_.order, recording_.longSize}, [&](std::uint64_t address) {
                       if (!symbolTable_) symbolTable_ = std::make_unique<SymbolTable>(symbols_());
                       return symbolTable_->nameAt(address);
                     });
  }
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

EventField::Value RecordedEvents::valueOf(const FormatField& field, const EventRecord& record) {
  if (field.isText) return record.text(field.place);
  if (field.isArray || field.place.size > sizeof(long long)) {
    return texts_.emplace_back(numbersOf(field, record.content(field.place)));
  }
  const long long number = record.number(field.place);
  if (field.place.isSigned) return number;
  return static_cast<unsigned long long>(number);
}

/// "1 2 3"
std::string RecordedEvents::numbersOf(const FormatField& field,
                                      std::span<const std::byte> bytes) const {
  std::string text;
  FieldPlace place{.size = std::max(field.elementSize, 1U), .isSigned = field.place.isSigned};
  const EventRecord record(bytes, nullptr, recording_.order);
  const std::size_t count = std::min(bytes.size() / place.size, kMostNumbers);
  for (std::size_t i = 0; i < count; ++i, place.offset += place.size) {
    if (i > 0) text += ' ';
    const long long number = record.number(place);
    text += place.isSigned ? std::to_string(number)
                           : std::to_string(static_cast<unsigned long long>(number));
  }
  return text;
}

}  // namespace tavrin
