// A kernel recording of version 6 or 7, whose events become a run with all fields and texts.

#include "fuzz/FuzzTarget.h"
#include "tavrin/import/MergedEvents.h"
#include "tavrin/import/RecordedEvents.h"
#include "tavrin/import/RecordingReader.h"

namespace {

/// Reads everything, and returns how much there was of it.
std::size_t read(std::span<const std::byte> input) {
  tavrin::MemoryBytes file({input.begin(), input.end()});
  tavrin::Recording recording = tavrin::readRecording(file);
  tavrin::RecordedEvents decoder(
      recording, [](const tavrin::KernelEvent& /*kind*/) { return true; },
      [&] { return tavrin::readSymbols(file, recording); });
  tavrin::MergedEvents events(file, recording);
  std::size_t size = 0;
  for (; events.event() != nullptr; events.next()) {
    if (events.event()->isLoss()) continue;
    const tavrin::KernelEvent* const event = decoder.decode(events.event()->event());
    if (event == nullptr) continue;
    const auto* const other = std::get_if<tavrin::OtherEvent>(&event->what);
    if (other == nullptr) continue;
    size += other->text.size();
    for (const tavrin::EventField& field : other->fields) {
      const auto* const text = std::get_if<std::string_view>(&field.value);
      size += text == nullptr ? 1 : std::hash<std::string_view>()(*text) % 7;
    }
  }
  return size + events.faults().size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::QuietLog quiet(size);
  return read(std::as_bytes(std::span(data, size))) > SIZE_MAX / 2 ? -1 : 0;
}
