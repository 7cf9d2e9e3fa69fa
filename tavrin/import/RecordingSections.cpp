#include "tavrin/import/RecordingSections.h"

#include <algorithm>
#include <set>

#include "packing/Packing.h"

namespace tavrin {

namespace {

constexpr std::uint16_t kPackedFlag = 1;
/// Of a section that is unpacked: the kernel's symbols are the largest.
constexpr std::uint32_t kLargestSection = 1U << 26U;
constexpr std::size_t kMostOptionSections = 4096;

/// The sizes after and before the packing, then what was packed.
std::vector<std::byte> unpacked(FieldCursor& content) {
  const auto packedSize = content.number<std::uint32_t>("the size of what is packed");
  const auto size = content.number<std::uint32_t>("the size of what is unpacked");
  if (size > kLargestSection) content.fail("a smaller section", std::to_string(size) + " bytes");
  const FieldCursor begin = content;
  const std::string packed = content.bytes(packedSize, packedSize, "what is packed");
  std::vector<std::byte> bytes = unpackUpTo(size, Packing::Zstd, packed);
  if (bytes.size() != size) {
    begin.fail(std::to_string(size) + " bytes that are packed",
               std::to_string(bytes.size()) + " that can be unpacked");
  }
  return bytes;
}

}  // namespace

void RecordingSections::readOptions(std::uint64_t offset) {
  std::set<std::uint64_t> taken;
  while (offset != 0) {
    if (!taken.insert(offset).second || taken.size() > kMostOptionSections) {
      throw FormatError(offset, "options that were not there before", "the same ones");
    }
    std::uint64_t next = 0;
    section(offset, kOptions, [&](FieldCursor& options) { next = takeOptions(options); });
    offset = next;
  }
}

RecordingSections::Header RecordingSections::header(std::uint64_t offset) {
  if (offset > file_.size()) {
    throw FormatError(offset, "a section, such as the options that tell where pages are",
                      "that the file ends at " + std::to_string(file_.size()));
  }
  FieldCursor cursor(file_, recording_.order, offset, file_.size());
  const auto number = cursor.number<std::uint16_t>("the number of a section");
  const auto flags = cursor.number<std::uint16_t>("the flags of a section");
  cursor.skip(sizeof(std::uint32_t), "the name of a section");
  const auto size = cursor.number<std::uint64_t>("the size of a section");
  return {number, (flags & kPackedFlag) != 0, size, cursor};
}

void RecordingSections::section(std::uint64_t offset, Section number, const Take& take) {
  Header found = header(offset);
  if (found.number != number) {
    throw FormatError(offset, "section " + std::to_string(number), std::to_string(found.number));
  }
  FieldCursor content = found.content.part(found.size, "a section");
  if (!found.isPacked) return take(content);
  MemoryBytes bytes(unpacked(content));
  FieldCursor cursor(bytes, recording_.order, 0, bytes.size(),
                     "what is packed at " + std::to_string(offset));
  take(cursor);
}

/// Returns where there are more, or 0.
std::uint64_t RecordingSections::takeOptions(FieldCursor& options) {
  while (!options.isAtEnd()) {
    const auto number = options.number<std::uint16_t>("an option");
    const auto size = options.number<std::uint32_t>("the size of an option");
    FieldCursor data = options.part(size, "an option");
    if (number == RecordingParts::kDone) {
      return data.number<std::uint64_t>("where there are more options");
    }
    try {
      option(number, data);
    } catch (const FormatError& error) {
      recording_.addFault(error.what());
    }
  }
  return 0;
}

void RecordingSections::option(std::uint16_t number, FieldCursor& data) {
  if (number == RecordingParts::kBuffer) {
    buffer(data);
  } else if (number == kSymbols) {
    recording_.symbols = data.number<std::uint64_t>("where a section is");
  } else if (number >= kHeaders && number <= kTraceText) {
    section(static_cast<Section>(number), data);
  } else {
    parts_.option(number, data);
  }
}

void RecordingSections::section(Section number, FieldCursor& data) {
  const auto offset = data.number<std::uint64_t>("where a section is");
  section(offset, number, [&](FieldCursor& content) {
    switch (number) {
      case kHeaders:
        return parts_.headers(content);
      case kTracerFormats:
        return parts_.tracerFormats(content);
      case kEventFormats:
        return parts_.eventFormats(content);
      case kPrintFormats:
        return parts_.printFormats(content);
      case kTaskNames:
        return parts_.taskNames(content);
      default:
        content.fail("pages of events", "the text of a trace");
    }
  });
}

void RecordingSections::buffer(FieldCursor& data) {
  const auto offset = data.number<std::uint64_t>("where a buffer is");
  RecordedBuffer& buffer = parts_.addBuffer(data.text("the name of a buffer"), data);
  buffer.isPacked = header(offset).isPacked;
  buffer.clock = data.text("the clock of a buffer");
  buffer.pageSize = parts_.pageSize(data);
  const auto count = data.number<std::uint32_t>("the number of a buffer's CPUs");
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto cpu = data.number<std::uint32_t>("a CPU");
    parts_.cpu(buffer, cpu, data);
  }
}

}  // namespace tavrin
