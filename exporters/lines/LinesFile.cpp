#include "exporters/lines/LinesFile.h"

#include <cerrno>

namespace lines {

namespace {

// The fastest: higher ones take three times as long for a seventh less (./bench).
constexpr int kLevel = 1;

}  // namespace

bool LinesFile::open(const std::string& path) {
  hasLines_ = false;
  text_.clear();
  if (compressor_ == nullptr) compressor_.reset(libdeflate_alloc_compressor(kLevel));
  if (compressor_ == nullptr) {
    errno = ENOMEM;
    return false;
  }
  text_.reserve(kMemberText);
  packed_.resize(libdeflate_gzip_compress_bound(compressor_.get(), kMemberText));
  return file_.open(path);
}

void LinesFile::add(std::string_view head, std::string_view fields, std::string_view time) {
  constexpr std::size_t kSeparators = 3;
  const std::size_t size = head.size() + fields.size() + time.size() + kSeparators;
  if (text_.size() + size > kMemberText && !text_.empty()) pack();
  text_.append(head).append(1, ' ').append(fields).append(1, ' ').append(time).append(1, '\n');
  hasLines_ = true;
}

/// Without lines it is a member without text, which makes a file that can be unpacked.
void LinesFile::pack() {
  const std::size_t most = libdeflate_gzip_compress_bound(compressor_.get(), text_.size());
  if (packed_.size() < most) packed_.resize(most);  // for a line longer than a member
  const std::size_t size = libdeflate_gzip_compress(compressor_.get(), text_.data(), text_.size(),
                                                    packed_.data(), packed_.size());
  text_.clear();
  file_.write({packed_.data(), size});
}

int LinesFile::close() {
  if (!file_.isOpen()) return 1;
  if (!text_.empty() || !hasLines_) pack();
  return file_.close();
}

void LinesFile::discard() {
  file_.discard();
}

}  // namespace lines
