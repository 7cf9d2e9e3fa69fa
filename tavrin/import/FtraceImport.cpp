#include "tavrin/import/FtraceImport.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view withoutMark(std::string_view text) {
  return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

/// Whether only recordings have such a line.
bool tellsOfRecording(std::string_view line) {
  FtraceLine event;
  if (readFtraceLine(line, event) != FtraceLineKind::Other) return true;
  if (line.starts_with("# tracer: ")) return true;
  const auto note = readFtraceNote(line);
  return note && (note->cpus || note->loss);
}

unsigned int saturated(unsigned long long number) {
  constexpr unsigned int kMost = std::numeric_limits<unsigned int>::max();
  return static_cast<unsigned int>(std::min<unsigned long long>(number, kMost));
}

}  // namespace

FtraceImport::FtraceImport(ByteSource& input, std::vector<std::string> patterns,
                           pwr::MessageSink& sink)
    : input_(input), lines_(input), events_(std::move(patterns), sink) {}

bool FtraceImport::isOurs(std::string_view head, bool isAll) {
  head = withoutMark(head);
  if (TracePage::isPage(head)) return true;
  while (!head.empty()) {
    const std::size_t feed = head.find('\n');
    if (feed == std::string_view::npos && !isAll) return false;
    if (tellsOfRecording(head.substr(0, feed))) return true;
    head.remove_prefix(feed == std::string_view::npos ? head.size() : feed + 1);
  }
  return false;
}

std::string FtraceImport::atLine(unsigned long long line) const {
  return input_.name() + ":" + std::to_string(line) + ": ";
}

void FtraceImport::remark(Remark& remark, std::string_view event) const {
  if (remark.count++ > 0) return;
  remark.first = lines_.number();
  remark.event = escaped(event);
}

/// What was told before the first event is what there is to know.
void FtraceImport::describe() {
  if (std::exchange(isDescribed_, true)) return;
  events_.describe(std::move(facts_));
}

void FtraceImport::takeEvent(const FtraceLine& line) {
  describe();
  hasEvents_ = true;
  if (line.process) events_.tellProcess(line.task, *line.process);
  const KernelEvent event{
      .time = line.time, .cpu = line.cpu, .what = payload_.read(line), .name = line.event};
  if (payload_.isOdd()) remark(odd_, line.event);
  events_.add(event);
}

void FtraceImport::takeNote(const FtraceNote& note) {
  if (note.cpus) facts_.cpus = *note.cpus;
  if (note.overwritten) {
    facts_.system.infoValues.emplace_back("Events overwritten before the first one",
                                          saturated(*note.overwritten), "");
  }
  if (!note.loss) return;
  describe();
  events_.add({.cpu = note.loss->cpu, .what = LostEvents{.count = note.loss->count}});
}

void FtraceImport::take(std::string_view line) {
  FtraceLine event;
  switch (readFtraceLine(line, event)) {
    case FtraceLineKind::Event:
      return takeEvent(event);
    case FtraceLineKind::Ambiguous:
      return remark(ambiguous_);
    case FtraceLineKind::Other:
      break;
  }
  if (const auto note = readFtraceNote(line)) return takeNote(*note);
  remark(unreadable_);
}

int FtraceImport::readLines(std::string& error) {
  for (;;) {
    const LineReader::Result result = lines_.next();
    if (input_.isStopped() || result == LineReader::Result::End) return 0;
    if (result == LineReader::Result::Failed) {
      error = atLine(lines_.number()) + "cannot be read: " + input_.readError();
    }
    if (result == LineReader::Result::TooLong) {
      error = atLine(lines_.number()) + "the line is longer than 256 MiB";
    }
    if (!error.empty()) return 1;
    std::string_view line = lines_.line();
    if (lines_.number() == 1) line = withoutMark(line);
    const auto part = page_.take(line);
    isCut_ = part && lines_.isCut();
    if (part && !isCut_) take(*part);
  }
}

int FtraceImport::replay(std::string& error) {
  int status = readLines(error);
  if (status == 0 && page_.isMissing()) {
    error = input_.name() + ": the page has no script of the class trace-data with a recording";
    status = 1;
  } else if (status == 0 && !hasEvents_ && unreadable_.count > 0) {
    error = atLine(unreadable_.first) + "no event of the kernel, nor is any other line";
    status = 1;
  }
  if (status != 0 && !hasEvents_) return status;
  describe();
  events_.finish();
  return status;
}

std::vector<std::string> FtraceImport::warnings() const {
  const auto times = [](const Remark& remark) { return std::to_string(remark.count); };
  std::vector<std::string> lines;
  if (unreadable_.count > 0) {
    lines.push_back(atLine(unreadable_.first) + "no event; " + times(unreadable_) +
                    " such lines are left out");
  }
  if (ambiguous_.count > 0) {
    lines.push_back(atLine(ambiguous_.first) + "can be read as an event in more than one way; " +
                    times(ambiguous_) + " such lines are left out");
  }
  if (odd_.count > 0) {
    lines.push_back(atLine(odd_.first) + odd_.event + " is unlike the known one; " + times(odd_) +
                    " such events count as other ones");
  }
  if (isCut_) {
    lines.push_back(atLine(lines_.number()) +
                    "the recording ends within this line, which is left out");
  }
  return lines;
}

}  // namespace tavrin
