#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "tavrin/common/Import.h"
#include "tavrin/platform/ByteSource.h"

namespace tavrin {

/// Replays a recorded stream, as `StreamWriter` or any other program wrote it, into a sink. The
/// format is described in docs/formats/recorded-stream.md. Owns the system description that it
/// delivers, so it must outlive the run.
class StreamReader final : public Import {
 public:
  /// `input` and `sink` are not owned. A stop of the input ends the replay as if the stream ended
  /// there.
  StreamReader(ByteSource& input, pwr::MessageSink& sink);
  ~StreamReader() override;

  /// An error is "NAME:LINE: cause" or, where a byte of the line is to blame, "NAME:LINE: cause
  /// (column N)".
  int replay(std::string& error) override;
  /// "NAME:LINE: cause" when the stream ended within a record, as that of a run that was killed
  /// does: the record is left out, and the replay has not failed.
  std::vector<std::string> warnings() const override;

 private:
  class Parts;

  bool replayLine();
  bool isCut() const;
  std::string atLine(const std::string& cause) const;

  ByteSource& input_;
  std::string cutRecord_;
  std::unique_ptr<Parts> parts_;
};

}  // namespace tavrin
