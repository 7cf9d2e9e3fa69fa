#pragma once

#include <cstdint>
#include <functional>

#include "tavrin/import/FieldCursor.h"
#include "tavrin/import/Recording.h"
#include "tavrin/import/RecordingParts.h"

namespace tavrin {

/// The sections of a recording of version 7, which may be packed.
class RecordingSections {
 public:
  /// Nothing is owned.
  RecordingSections(RandomBytes& file, Recording& recording)
      : file_(file), recording_(recording), parts_(recording) {}

  /// Reads the options that begin at the offset, and all that they lead to. What a damaged one
  /// leads to is left out. Throws FormatError where the options themselves are damaged.
  void readOptions(std::uint64_t offset);

  using Take = std::function<void(FieldCursor& content)>;
  /// Hands over the content of the kernel's symbols. Throws FormatError.
  void readSymbols(const Take& take) { section(recording_.symbols, kSymbols, take); }

 private:
  /// The numbers of sections, which as options tell where these are.
  enum Section : std::uint16_t {
    kOptions = 0,
    kHeaders = 16,
    kTracerFormats = 17,
    kEventFormats = 18,
    kSymbols = 19,
    kPrintFormats = 20,
    kTaskNames = 21,
    kTraceText = 22,
  };
  struct Header {
    std::uint16_t number = 0;
    bool isPacked = false;
    std::uint64_t size = 0;
    FieldCursor content;  // and all that is behind it
  };

  Header header(std::uint64_t offset);
  void section(std::uint64_t offset, Section number, const Take& take);
  std::uint64_t takeOptions(FieldCursor& options);
  void option(std::uint16_t number, FieldCursor& data);
  void section(Section number, FieldCursor& data);
  void buffer(FieldCursor& data);

  RandomBytes& file_;
  Recording& recording_;
  RecordingParts parts_;
};

}  // namespace tavrin
