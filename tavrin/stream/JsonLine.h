#pragma once

#include <rapidjson/document.h>
#include <rapidjson/reader.h>

#include <array>
#include <cstddef>
#include <string>

namespace tavrin {

/// Parses lines of JSON, one at a time, in place and with storage that is reused. Numbers are
/// exact: an integer is Uint64 or, when negative, Int64; a number with a fraction or an exponent is
/// the nearest double. One that does not fit is an error, never rounded.
class JsonLine {
 public:
  /// Overwrites `line`; the result refers to it and is valid until the next call. Throws
  /// StreamError when the line is not exactly one JSON value in valid UTF-8.
  const rapidjson::Value& parse(std::string& line);

 private:
  /// Takes the place of the document as receiver of the numbers, which it converts itself: the
  /// library would turn integers beyond 64 bits into reals.
  class Receiver : public rapidjson::Document {
   public:
    explicit Receiver(rapidjson::Document::AllocatorType* allocator)
        : rapidjson::Document(allocator) {}
    bool RawNumber(const char* text, rapidjson::SizeType length, bool copy);
  };

  static constexpr std::size_t kPoolSize = 65536;

  // Lines of ordinary length need no more than this; longer ones allocate.
  alignas(std::max_align_t) std::array<char, kPoolSize> pool_;
  rapidjson::Document::AllocatorType allocator_{pool_.data(), pool_.size()};
  Receiver document_{&allocator_};
  rapidjson::Reader reader_;
};

}  // namespace tavrin
