#include "tavrin/stream/LineReader.h"

#include <string_view>

namespace tavrin {

LineReader::Result LineReader::next() {
  line_.clear();
  ++number_;
  for (;;) {
    const std::string_view unread(buffer_.data() + begin_, end_ - begin_);
    const std::size_t feed = unread.find('\n');
    line_.append(unread.substr(0, feed));
    if (line_.size() > kLongestLine) return Result::TooLong;
    if (feed != std::string_view::npos) {
      begin_ += feed + 1;
      return Result::Line;
    }
    begin_ = end_ = 0;
    const long long count = input_.read(buffer_.data(), buffer_.size());
    if (count > 0) {
      end_ = static_cast<std::size_t>(count);
    } else if (count == 0 && !line_.empty()) {
      cut_ = true;
      return Result::Line;
    } else {
      --number_;
      return count < 0 ? Result::Failed : Result::End;
    }
  }
}

}  // namespace tavrin
