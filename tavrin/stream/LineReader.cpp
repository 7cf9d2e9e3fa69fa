#include "tavrin/stream/LineReader.h"

#include <string_view>

namespace tavrin {

LineReader::Result LineReader::next() {
  line_.clear();
  for (;;) {
    const std::string_view unread(buffer_.data() + begin_, end_ - begin_);
    const std::size_t feed = unread.find('\n');
    line_.append(unread.substr(0, feed));
    if (feed != std::string_view::npos) {
      begin_ += feed + 1;
      break;
    }
    begin_ = end_ = 0;
    const long long count = input_.read(buffer_.data(), buffer_.size());
    if (count < 0) return Result::Failed;
    if (count == 0 && line_.empty()) return Result::End;
    if (count == 0) {
      cut_ = true;
      break;
    }
    end_ = static_cast<std::size_t>(count);
  }
  ++number_;
  return Result::Line;
}

}  // namespace tavrin
