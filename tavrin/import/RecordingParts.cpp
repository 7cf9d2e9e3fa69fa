#include "tavrin/import/RecordingParts.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

// No recording has more; what says that it has is damaged.
constexpr std::uint64_t kLongestDescription = 1U << 20U;
constexpr std::uint64_t kLongestTable = 1U << 26U;
constexpr std::size_t kMostRows = 1U << 18U;
constexpr std::size_t kMostFormats = 65536;
constexpr std::size_t kMostFacts = 4096;
constexpr std::uint32_t kLargestShift = 32;
constexpr std::uint32_t kSmallestPage = 64;
constexpr std::uint32_t kLargestPage = 1U << 20U;
/// In all buffers together: as many pages are in memory.
constexpr std::size_t kMostCpuParts = 4096;

constexpr long long kNanosecondsPerMicrosecond = 1000;

/// The text of an option, up to a null that may be behind it.
std::string textOf(FieldCursor& data, const char* what) {
  std::string text = data.bytes(data.left(), kLongestDescription, what);
  text.resize(std::min(text.find('\0'), text.size()));
  return text;
}

/// "0x… : "text"" of `printk_formats`.
void addPrintFormat(std::string_view line, std::map<std::uint64_t, std::string>& formats) {
  constexpr std::string_view kPrefix = "0x";
  if (!line.starts_with(kPrefix)) return;
  std::uint64_t address = 0;
  const char* const end = line.data() + line.size();
  const auto [rest, error] = std::from_chars(line.data() + kPrefix.size(), end, address, 16);
  const std::string_view text(rest, static_cast<std::size_t>(end - rest));
  const std::size_t first = text.find('"');
  const std::size_t last = text.rfind('"');
  if (error != std::errc() || first == last) return;
  formats[address] = unquoted(text.substr(first + 1, last - first - 1));
}

}  // namespace

std::string unquoted(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      plain += text[i];
      continue;
    }
    const char letter = text[++i];
    plain += letter == 'n' ? '\n' : letter == 't' ? '\t' : letter;
  }
  return plain;
}

void RecordingParts::headers(FieldCursor& cursor) {
  using namespace std::string_view_literals;
  cursor.expect("header_page\0"sv, "\"header_page\"");
  const auto pageSize = cursor.number<std::uint64_t>("the size of the page header");
  const std::string page = cursor.bytes(pageSize, kLongestDescription, "the page header");
  for (const FormatField& field : parseFields(page, recording_.longSize)) {
    if (field.name != "commit") continue;
    if (field.place.size != 4 && field.place.size != 8) {
      cursor.fail("a page header with 4 or 8 bytes for the length",
                  std::to_string(field.place.size));
    }
    recording_.longSize = field.place.size;
  }
  cursor.expect("header_event\0"sv, "\"header_event\"");
  cursor.skip(cursor.number<std::uint64_t>("the size of the event header"), "the event header");
}

void RecordingParts::format(const std::string& system, FieldCursor& cursor) {
  const auto size = cursor.number<std::uint64_t>("the size of an event's format");
  if (size == 0) cursor.fail("an event's format", "nothing");
  if (recording_.formats.size() == kMostFormats) cursor.fail("no more formats", "one more");
  const FieldCursor begin = cursor;
  const std::string text = cursor.bytes(size, kLongestDescription, "an event's format");
  if (auto parsed = EventFormat::parse(text, recording_.longSize)) {
    recording_.formats.push_back({system, std::move(*parsed)});
  } else {
    recording_.addFault(begin.fault("an event's format", "another text").what());
  }
}

void RecordingParts::tracerFormats(FieldCursor& cursor) {
  const auto count = cursor.number<std::uint32_t>("the number of the tracers' events");
  for (std::uint32_t i = 0; i < count; ++i) format(kTracerSystem, cursor);
}

void RecordingParts::eventFormats(FieldCursor& cursor) {
  const auto systems = cursor.number<std::uint32_t>("the number of event systems");
  for (std::uint32_t i = 0; i < systems; ++i) {
    const std::string system = cursor.text("the name of an event system");
    const auto count = cursor.number<std::uint32_t>("the number of a system's events");
    for (std::uint32_t k = 0; k < count; ++k) format(system, cursor);
  }
}

void RecordingParts::printFormats(FieldCursor& cursor) {
  const auto size = cursor.number<std::uint32_t>("the size of the formats of texts");
  const std::string table = cursor.bytes(size, kLongestTable, "the formats of texts");
  for (std::string_view rest = table; !rest.empty();) {
    addPrintFormat(takeLine(rest), recording_.printFormats);
    if (recording_.printFormats.size() > kMostRows) cursor.fail("fewer formats of texts", "more");
  }
}

void RecordingParts::taskNames(FieldCursor& cursor) {
  const auto size = cursor.number<std::uint64_t>("the size of the names of tasks");
  const std::string table = cursor.bytes(size, kLongestTable, "the names of tasks");
  for (std::string_view rest = table; !rest.empty();) {
    const std::string_view line = takeLine(rest);
    int task = 0;
    const char* const end = line.data() + line.size();
    const auto [behind, error] = std::from_chars(line.data(), end, task);
    if (error != std::errc() || behind == end || *behind != ' ') continue;
    recording_.taskNames[task] = std::string(behind + 1, end);
    if (recording_.taskNames.size() > kMostRows) cursor.fail("fewer names of tasks", "more");
  }
}

std::uint32_t RecordingParts::pageSize(FieldCursor& cursor) const {
  const FieldCursor begin = cursor;
  const auto size = cursor.number<std::uint32_t>("the size of a page");
  if (size < kSmallestPage || size > kLargestPage) {
    begin.fail("pages of " + std::to_string(kSmallestPage) + " to " + std::to_string(kLargestPage) +
                   " bytes",
               std::to_string(size));
  }
  return size;
}

RecordedBuffer& RecordingParts::addBuffer(const std::string& name, const FieldCursor& cursor) {
  if (recording_.buffers.size() == kMostFacts) cursor.fail("no more buffers", "one more");
  recording_.buffers.push_back({.name = name, .pageSize = recording_.pageSize});
  return recording_.buffers.back();
}

void RecordingParts::cpu(RecordedBuffer& buffer, std::uint32_t number, FieldCursor& cursor) {
  if (++cpus_ > kMostCpuParts) cursor.fail("the pages of fewer CPUs", "more than can be read");
  const auto offset = cursor.number<std::uint64_t>("where the pages of a CPU are");
  const auto size = cursor.number<std::uint64_t>("the size of a CPU's pages");
  if (size > 0) buffer.cpus.push_back({.cpu = number, .offset = offset, .size = size});
}

void RecordingParts::option(std::uint16_t number, FieldCursor data) {
  switch (number) {
    case kDate:
      recording_.hasTimeOfDay = true;
      return addOffset(data, kNanosecondsPerMicrosecond);
    case kOffset:
      return addOffset(data, 1);
    case kClock: {
      const std::string clocks = textOf(data, "the trace clock");
      const std::size_t begin = clocks.find('[');  // before the one that is used
      if (begin == std::string::npos) return;
      recording_.clock = clocks.substr(begin + 1, clocks.find(']', begin) - begin - 1);
      return;
    }
    case kMachine:
      recording_.machine = textOf(data, "the name of the machine");
      return;
    case kHook:
      if (recording_.hooks.size() < kMostFacts) recording_.hooks.push_back(textOf(data, "a hook"));
      return;
    case kCpuCount:
      recording_.cpus = data.number<std::uint32_t>("the number of CPUs");
      return;
    case kTool:
      recording_.tool = textOf(data, "the version of the tool");
      return;
    case kTraceId:
      recording_.traceId = data.number<std::uint64_t>("the number of the trace");
      return;
    case kTimeShift:
      recording_.hasTimeShifts = true;
      return;
    case kGuest:
      return guest(data);
    case kScale:
      return scale(data);
    default:
      return;
  }
}

void RecordingParts::scale(FieldCursor& data) {
  const auto factor = data.number<std::uint32_t>("the factor of times");
  const auto shift = data.number<std::uint32_t>("the shift of times");
  if (shift > kLargestShift) {
    data.fail("a shift of times of at most 32 bits", std::to_string(shift));
  }
  recording_.scale = {factor, shift};
}

void RecordingParts::guest(FieldCursor& data) {
  RecordedGuest guest{.name = data.text("the name of a guest")};
  guest.traceId = data.number<std::uint64_t>("the number of the guest's trace");
  guest.cpus = data.number<std::uint32_t>("the number of the guest's CPUs");
  if (recording_.guests.size() < kMostFacts) recording_.guests.push_back(std::move(guest));
}

/// The option is a decimal or hexadecimal text.
void RecordingParts::addOffset(FieldCursor& data, long long nanoseconds) {
  const std::string text = textOf(data, "an offset of times");
  const auto offset = static_cast<unsigned long long>(std::strtoll(text.c_str(), nullptr, 0));
  // Without a sign, so that a damaged number cannot overflow.
  recording_.timeOffset =
      static_cast<long long>(static_cast<unsigned long long>(recording_.timeOffset) +
                             offset * static_cast<unsigned long long>(nanoseconds));
}

}  // namespace tavrin
