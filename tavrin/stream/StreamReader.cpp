#include "tavrin/stream/StreamReader.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "tavrin/stream/JsonLine.h"
#include "tavrin/stream/LineReader.h"
#include "tavrin/stream/RecordReplay.h"
#include "tavrin/stream/StreamError.h"

namespace tavrin {

class StreamReader::Parts {
 public:
  Parts(FILE* stream, MessageSink& sink) : lines(stream), records(sink) {}

  LineReader lines;
  JsonLine json;
  RecordReplay records;
};

StreamReader::StreamReader(FILE* stream, std::string name, MessageSink& sink,
                           const std::atomic<bool>* stopRequested)
    : name_(std::move(name)),
      stopRequested_(stopRequested),
      parts_(std::make_unique<Parts>(stream, sink)) {}

StreamReader::~StreamReader() = default;

bool StreamReader::stopped() const {
  return stopRequested_ != nullptr && *stopRequested_;
}

std::string StreamReader::errorAtLine(unsigned long long line, const std::string& cause) const {
  return name_ + ":" + std::to_string(line) + ": " + cause;
}

/// Returns false at the end of the stream.
bool StreamReader::replayLine() {
  const LineReader::Result result = parts_->lines.next();
  // Also when the signal that set the flag has interrupted the reading.
  if (stopped() || result == LineReader::Result::End) return false;
  if (result == LineReader::Result::Failed) {
    throw StreamError("cannot be read: " + std::generic_category().message(errno));
  }
  std::string& line = parts_->lines.line();
  if (line.find_first_not_of(" \t\r") == std::string::npos) return true;
  parts_->records.record(parts_->json.parse(line));
  return true;
}

int StreamReader::replay(std::string& error) {
  int status = 0;
  try {
    while (!stopped() && replayLine()) {
    }
    if (!parts_->records.hasSystem() && !stopped()) {
      throw StreamError("the stream ends before its system record");
    }
  } catch (const StreamError& fault) {
    std::string cause = fault.what();
    if (fault.column() != 0) cause += " (column " + std::to_string(fault.column()) + ")";
    error = errorAtLine(parts_->lines.number(), cause);
    status = 1;
  }
  parts_->records.complete();
  return status;
}

}  // namespace tavrin
