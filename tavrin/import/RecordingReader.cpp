#include "tavrin/import/RecordingReader.h"

#include "packing/Packing.h"
#include "tavrin/import/FieldCursor.h"
#include "tavrin/import/RecordingParts.h"
#include "tavrin/import/RecordingSections.h"

namespace tavrin {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kMagic = "\x17\x08\x44tracing";
constexpr int kFlatVersion = 6;
constexpr int kSectionVersion = 7;
constexpr const char* kUnpacked = "none";
constexpr const char* kZstd = "zstd";

// What follows the number of CPUs in a flat file; each name takes as many bytes.
constexpr std::string_view kOptions = "options  \0"sv;
constexpr std::string_view kPages = "flyrecord\0"sv;
constexpr std::size_t kNameSize = kPages.size();

constexpr std::uint64_t kLongestSymbols = 1U << 26U;

/// A file of version 6, whose parts follow one another.
class FlatRecording {
 public:
  FlatRecording(RandomBytes& file, Recording& recording)
      : file_(file), recording_(recording), parts_(recording) {}

  void read(FieldCursor& cursor) {
    parts_.headers(cursor);
    parts_.tracerFormats(cursor);
    parts_.eventFormats(cursor);
    recording_.symbols = cursor.position();
    cursor.skip(cursor.number<std::uint32_t>("the size of the symbols"), "the symbols");
    parts_.printFormats(cursor);
    parts_.taskNames(cursor);
    cpus_ = cursor.number<std::uint32_t>("the number of CPUs");
    recording_.cpus = cpus_;
    std::string name = cursor.bytes(kNameSize, kNameSize, "the name of a part");
    if (name == kOptions) {
      options(cursor);
      name = cursor.bytes(kNameSize, kNameSize, "the name of a part");
    }
    if (name != kPages) cursor.fail("pages of events before it", "another part");
    buffer({}, cursor);
    for (const auto& [instance, offset] : instances_) {
      try {
        readInstance(instance, offset);
      } catch (const FormatError& error) {
        recording_.addFault(error.what());
      }
    }
  }

 private:
  void options(FieldCursor& cursor) {
    while (const auto number = cursor.number<std::uint16_t>("an option")) {
      FieldCursor data =
          cursor.part(cursor.number<std::uint32_t>("the size of an option"), "an option");
      try {
        if (number == RecordingParts::kBuffer) {
          const auto offset = data.number<std::uint64_t>("where a buffer is");
          instances_.emplace_back(data.text("the name of a buffer"), offset);
        } else {
          parts_.option(number, data);
        }
      } catch (const FormatError& error) {
        recording_.addFault(error.what());
      }
    }
  }

  void buffer(const std::string& name, FieldCursor& cursor) {
    RecordedBuffer& buffer = parts_.addBuffer(name, cursor);
    buffer.clock = recording_.clock;
    for (std::uint32_t cpu = 0; cpu < cpus_; ++cpu) parts_.cpu(buffer, cpu, cursor);
  }

  void readInstance(const std::string& name, std::uint64_t offset) {
    if (offset > file_.size()) {
      throw FormatError(offset, "a buffer", "the end at " + std::to_string(file_.size()));
    }
    FieldCursor cursor(file_, recording_.order, offset, file_.size());
    cursor.expect(kPages, "the pages of a buffer");
    buffer(name, cursor);
  }

  RandomBytes& file_;
  Recording& recording_;
  RecordingParts parts_;
  std::uint32_t cpus_ = 0;
  std::vector<std::pair<std::string, std::uint64_t>> instances_;
};

/// What both versions begin with.
FieldCursor readStart(RandomBytes& file, Recording& recording) {
  FieldCursor start(file, ByteOrder(), 0, file.size());
  start.expect(kMagic, "a kernel recording");
  const std::string version = start.text("the version");
  const bool isFlat = version == std::to_string(kFlatVersion);
  if (!isFlat && version != std::to_string(kSectionVersion)) {
    start.fail("version 6 or 7 before it", "version " + version.substr(0, 8));
  }
  recording.version = isFlat ? kFlatVersion : kSectionVersion;
  const bool isBig = start.number<std::uint8_t>("the byte order") != 0;
  recording.order = ByteOrder(isBig ? std::endian::big : std::endian::little);
  const auto longSize = start.number<std::uint8_t>("the size of a long number");
  recording.longSize = longSize == 4 ? 4 : 8;  // until the page header tells that of the kernel
  FieldCursor cursor(file, recording.order, start.position(), file.size());
  recording.pageSize = RecordingParts(recording).pageSize(cursor);
  return cursor;
}

void readSections(RandomBytes& file, FieldCursor& cursor, Recording& recording) {
  recording.packing = cursor.text("the name of the packing");
  cursor.text("the version of the packing");
  std::string why;
  if (recording.packing == kZstd) {
    why = whyNotPacked(Packing::Zstd);
  } else if (recording.packing != kUnpacked) {
    why =
        "only zstd can be unpacked; 'trace-cmd convert --compression zstd' makes a copy with that";
  }
  if (!why.empty()) {
    throw FormatError(0, "a recording that can be unpacked",
                      "one that is packed with " + recording.packing + " (" + why + ")");
  }
  const auto options = cursor.number<std::uint64_t>("where the options are");
  RecordingSections(file, recording).readOptions(options);
}

}  // namespace

bool isRecording(std::string_view head) {
  return head.starts_with(kMagic);
}

Recording readRecording(RandomBytes& file) {
  Recording recording;
  try {
    FieldCursor cursor = readStart(file, recording);
    if (recording.version == kFlatVersion) {
      FlatRecording(file, recording).read(cursor);
    } else {
      readSections(file, cursor, recording);
    }
  } catch (const FormatError& error) {
    recording.addFault(error.what());
  }
  return recording;
}

std::string readSymbols(RandomBytes& file, Recording& recording) {
  std::string symbols;
  const auto take = [&](FieldCursor& cursor) {
    const auto size = cursor.number<std::uint32_t>("the size of the symbols");
    symbols = cursor.bytes(size, kLongestSymbols, "the symbols");
  };
  try {
    if (recording.symbols == 0) return {};
    if (recording.version == kFlatVersion) {
      FieldCursor cursor(file, recording.order, recording.symbols, file.size());
      take(cursor);
    } else {
      RecordingSections(file, recording).readSymbols(take);
    }
  } catch (const FormatError& error) {
    recording.addFault(error.what());
  }
  return symbols;
}

}  // namespace tavrin
