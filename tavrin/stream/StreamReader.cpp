#include "tavrin/stream/StreamReader.h"

#include "tavrin/stream/JsonLine.h"
#include "tavrin/stream/LineReader.h"
#include "tavrin/stream/RecordReplay.h"
#include "tavrin/stream/StreamError.h"

namespace tavrin {

namespace {

/// Removes the byte order mark that some programs begin a text file with.
void removeMark(std::string& line) {
  if (line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
  if (line.starts_with("\xFF\xFE") || line.starts_with("\xFE\xFF")) {
    throw StreamError("the stream is UTF-16 and has to be UTF-8");
  }
}

}  // namespace

class StreamReader::Parts {
 public:
  Parts(ByteSource& input, pwr::MessageSink& sink) : lines(input), records(sink) {}

  LineReader lines;
  JsonLine json;
  RecordReplay records;
};

StreamReader::StreamReader(ByteSource& input, pwr::MessageSink& sink)
    : input_(input), parts_(std::make_unique<Parts>(input, sink)) {}

StreamReader::~StreamReader() = default;

std::string StreamReader::atLine(const std::string& cause) const {
  return input_.name() + ":" + std::to_string(parts_->lines.number()) + ": " + cause;
}

/// Whether the line last read is the beginning of a record of a stream that was cut off.
bool StreamReader::isCut() const {
  return parts_->lines.isCut() && parts_->records.hasSystem() &&
         parts_->lines.line().starts_with('{');
}

/// Returns false at the end of the stream.
bool StreamReader::replayLine() {
  const LineReader::Result result = parts_->lines.next();
  if (input_.isStopped() || result == LineReader::Result::End) return false;
  if (result == LineReader::Result::Failed) {
    throw StreamError("cannot be read: " + input_.readError());
  }
  if (result == LineReader::Result::TooLong) throw StreamError("the line is longer than 256 MiB");
  std::string& line = parts_->lines.line();
  if (parts_->records.plainSample(line)) return true;
  if (parts_->lines.number() == 1) removeMark(line);
  if (line.find_first_not_of(" \t\r") == std::string::npos) return true;
  try {
    parts_->records.record(parts_->json.parse(line));
  } catch (const StreamError& fault) {
    if (!isCut() || fault.column() == 0) throw;
    cutRecord_ = atLine("the stream ends within this record, which is left out");
  }
  return true;
}

std::vector<std::string> StreamReader::warnings() const {
  if (cutRecord_.empty()) return {};
  return {cutRecord_};
}

int StreamReader::replay(std::string& error) {
  int status = 0;
  try {
    while (!input_.isStopped() && replayLine()) {
    }
    if (!parts_->records.hasSystem() && !input_.isStopped()) {
      throw StreamError("the stream ends before its system record");
    }
  } catch (const StreamError& fault) {
    std::string cause = fault.what();
    if (fault.column() != 0) cause += " (column " + std::to_string(fault.column()) + ")";
    error = atLine(cause);
    status = 1;
  }
  parts_->records.complete();
  return status;
}

}  // namespace tavrin
