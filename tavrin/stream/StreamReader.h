#pragma once

#include <memory>
#include <string>

#include "tavrin/common/MessageSink.h"
#include "tavrin/platform/InputFile.h"

namespace tavrin {

/// Replays a recorded stream, as `StreamWriter` or any other program wrote it, into a sink. The
/// format is described in docs/formats/recorded-stream.md. Owns the system description that it
/// delivers, so it must outlive the run.
class StreamReader {
 public:
  /// `input` and `sink` are not owned. A stop of the input ends the replay as if the stream ended
  /// there.
  StreamReader(InputFile& input, MessageSink& sink);
  ~StreamReader();
  StreamReader(const StreamReader&) = delete;
  StreamReader& operator=(const StreamReader&) = delete;

  /// Delivers the whole stream; to be called once. Returns 0, or 1 with `error` set to
  /// "NAME:LINE: cause" or, where a byte of the line is to blame, "NAME:LINE: cause (column N)".
  /// What came before the line has been delivered then, and the system description is complete in
  /// either case. What the sink throws passes through.
  int replay(std::string& error);
  /// "NAME:LINE: cause" when the stream ended within a record, as that of a run that was killed
  /// does: the record is left out, and the replay has not failed. Else empty.
  const std::string& cutRecord() const { return cutRecord_; }

 private:
  class Parts;

  bool replayLine();
  bool isCut() const;
  std::string atLine(const std::string& cause) const;

  InputFile& input_;
  std::string cutRecord_;
  std::unique_ptr<Parts> parts_;
};

}  // namespace tavrin
