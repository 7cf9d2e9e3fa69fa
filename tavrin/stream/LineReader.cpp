#include "tavrin/stream/LineReader.h"

namespace tavrin {

namespace {

constexpr std::size_t kPiece = 4096;

}  // namespace

/// Appends at `start` what is left of the line, up to a piece; returns its size in bytes. As fgets
/// does not tell how much it has read and the line may hold NUL bytes, the place is filled with
/// line feeds first: the first one found is either the line's own, which the terminating NUL
/// follows, or a filler behind that NUL.
std::size_t LineReader::readPiece(std::size_t start) {
  line_.resize(start);
  line_.resize(start + kPiece, '\n');
  if (std::fgets(line_.data() + start, static_cast<int>(kPiece), stream_) == nullptr) return 0;
  const std::size_t feed = line_.find('\n', start);
  if (feed == std::string::npos) return kPiece - 1;
  const bool own = feed + 1 < line_.size() && line_[feed + 1] == '\0';
  return (own ? feed + 1 : feed - 1) - start;
}

LineReader::Result LineReader::next() {
  std::size_t size = 0;
  for (;;) {
    const std::size_t piece = readPiece(size);
    size += piece;
    const bool complete = piece > 0 && line_[size - 1] == '\n';
    if (!complete && piece > 0) continue;
    if (!complete && std::ferror(stream_) != 0) return Result::Failed;
    if (size == 0) return Result::End;
    line_.resize(complete ? size - 1 : size);
    ++number_;
    return Result::Line;
  }
}

}  // namespace tavrin
