#include "tavrin/import/FtraceNote.h"

#include <algorithm>
#include <charconv>

namespace tavrin {

namespace {

/// Takes a number, or a word, from the beginning of the text, if it is there.
template <typename Number>
bool take(std::string_view& text, Number& number) {
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
  return true;
}

bool take(std::string_view& text, const char* word) {
  if (!text.starts_with(word)) return false;
  text.remove_prefix(std::string_view(word).size());
  return true;
}

/// "# entries-in-buffer/entries-written: 1234/5678   #P:8"
FtraceNote heading(std::string_view line) {
  FtraceNote note;
  std::string_view rest = line.substr(std::min(line.find("#P:"), line.size()));
  unsigned int cpus = 0;
  if (take(rest, "#P:") && take(rest, cpus)) note.cpus = cpus;
  unsigned long long left = 0;
  unsigned long long written = 0;
  const bool isCount = take(line, "# entries-in-buffer/entries-written: ") && take(line, left) &&
                       take(line, "/") && take(line, written);
  if (isCount && written > left) note.overwritten = written - left;
  return note;
}

/// "CPU:3 [LOST 12 EVENTS]" of the kernel, "CPU:3 [12 EVENTS DROPPED]" of trace-cmd; both without
/// the number where it is not known.
std::optional<FtraceNote> loss(std::string_view line) {
  FtraceNote::Loss loss;
  if (!take(line, "CPU:") || !take(line, loss.cpu) || !take(line, " [")) return std::nullopt;
  take(line, "LOST ");
  if (take(line, loss.count)) take(line, " ");
  if (line != "EVENTS]" && line != "EVENTS DROPPED]") return std::nullopt;
  return FtraceNote{.cpus = {}, .overwritten = {}, .loss = loss};
}

}  // namespace

std::optional<FtraceNote> readFtraceNote(std::string_view line) {
  line = line.substr(0, line.find_last_not_of(" \t\r") + 1);
  if (line.empty()) return FtraceNote{};
  if (line.starts_with('#')) return heading(line);
  if (line.starts_with("CPU:")) return loss(line);
  unsigned int number = 0;
  std::string_view rest = line;
  if (take(rest, "cpus=") && take(rest, number) && rest.empty()) {
    return FtraceNote{.cpus = number, .overwritten = {}, .loss = {}};
  }
  rest = line;
  if (take(rest, "version = ") && take(rest, number) && rest.empty()) return FtraceNote{};
  rest = line;
  if (take(rest, "CPU ") && take(rest, number) && rest == " is empty") return FtraceNote{};
  const std::size_t text = line.find_first_not_of(' ');
  if (line.substr(text).starts_with("=> ")) return FtraceNote{};
  return std::nullopt;
}

}  // namespace tavrin
