#pragma once

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>

#include "tavrin/common/MessageSink.h"

namespace tavrin {

/// Replays a recorded stream, as `StreamWriter` or any other program wrote it, into a sink. The
/// format is described in docs/formats/recorded-stream.md. Owns the system description that it
/// delivers, so it must outlive the run.
class StreamReader {
 public:
  /// `stream` and `sink` are not owned; the stream may be a pipe that another program still writes
  /// to. `name` is the stream's name in messages. Setting `*stopRequested`, which may be null and
  /// is not owned, ends the replay as if the stream ended there.
  StreamReader(FILE* stream, std::string name, MessageSink& sink,
               const std::atomic<bool>* stopRequested = nullptr);
  ~StreamReader();
  StreamReader(const StreamReader&) = delete;
  StreamReader& operator=(const StreamReader&) = delete;

  /// Delivers the whole stream; to be called once. Returns 0, or 1 with `error` set to
  /// "NAME:LINE: cause" or, where a byte of the line is to blame, "NAME:LINE: cause (column N)".
  /// What came before the line has been delivered then, and the system description is complete in
  /// either case. What the sink throws passes through.
  int replay(std::string& error);

 private:
  class Parts;

  bool replayLine();
  bool stopped() const;
  std::string errorAtLine(unsigned long long line, const std::string& cause) const;

  const std::string name_;
  const std::atomic<bool>* stopRequested_;
  std::unique_ptr<Parts> parts_;
};

}  // namespace tavrin
