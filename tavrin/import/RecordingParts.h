#pragma once

#include <cstdint>

#include "tavrin/import/FieldCursor.h"
#include "tavrin/import/Recording.h"

namespace tavrin {

/// The parts of a recording that the versions of the format have in common. Each takes its part
/// from the cursor, which may go on behind it, and throws FormatError.
class RecordingParts {
 public:
  /// The numbers of the options that are read.
  enum Option : std::uint16_t {
    kDone = 0,
    kDate = 1,
    kBuffer = 3,
    kClock = 4,
    kMachine = 5,
    kHook = 6,
    kOffset = 7,
    kCpuCount = 8,
    kTool = 9,
    kTraceId = 11,
    kTimeShift = 12,
    kGuest = 13,
    kScale = 14,
  };

  explicit RecordingParts(Recording& recording) : recording_(recording) {}

  /// How the pages are laid out.
  void headers(FieldCursor& cursor);
  /// The events of the tracers.
  void tracerFormats(FieldCursor& cursor);
  void eventFormats(FieldCursor& cursor);
  void printFormats(FieldCursor& cursor);
  void taskNames(FieldCursor& cursor);
  /// Of the file, which is that of buffers that do not tell theirs, or of a buffer.
  std::uint32_t pageSize(FieldCursor& cursor) const;
  /// `cursor`: where it is read.
  RecordedBuffer& addBuffer(const std::string& name, const FieldCursor& cursor);
  /// Where the pages of a CPU are.
  void cpu(RecordedBuffer& buffer, std::uint32_t number, FieldCursor& cursor);
  /// An option that says something about the whole recording; others have no effect.
  void option(std::uint16_t number, FieldCursor data);

 private:
  void format(const std::string& system, FieldCursor& cursor);
  void guest(FieldCursor& data);
  void scale(FieldCursor& data);
  void addOffset(FieldCursor& data, long long nanoseconds);

  Recording& recording_;
  std::size_t cpus_ = 0;  // with pages
};

/// The text that a quoted text stands for.
std::string unquoted(std::string_view text);

}  // namespace tavrin
