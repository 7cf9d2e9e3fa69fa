#pragma once

#include <rapidjson/reader.h>

#include <array>
#include <cstddef>
#include <string>

#include "tavrin/stream/JsonMemory.h"

namespace tavrin {

/// Parses lines of JSON, one at a time, in place and with storage that is reused. Numbers are
/// exact: an integer is Uint64 or, when negative, Int64; a number with a fraction or an exponent is
/// the nearest double. One that does not fit is an error, never rounded.
class JsonLine {
 public:
  /// `mostMemory`: what a line may take, in bytes.
  explicit JsonLine(std::size_t mostMemory = JsonMemory::kMostPerLine) : memory_(mostMemory) {}

  /// Overwrites `line`, which is shorter than 4 GiB; the result refers to it and is valid until the
  /// next call. Throws StreamError when the line is not exactly one JSON value in valid UTF-8, or
  /// is nested deeper or takes more memory than any record could.
  const json::Value& parse(std::string& line);

 private:
  /// Takes the place of the document as receiver of what the parser finds. Converts the numbers
  /// itself, as the library would turn integers beyond 64 bits into reals, and counts the depth,
  /// which is the input's choice and must not exhaust the stack.
  class Receiver : public json::Document {
   public:
    Receiver(json::Pool* values, JsonMemory* memory) : json::Document(values, kStackSize, memory) {}

    /// To be called before each line.
    void startLine();
    /// True when it has stopped the parser, which else only a number does.
    bool isTooDeep() const;

    bool RawNumber(const char* text, rapidjson::SizeType length, bool copy);
    bool StartObject() { return goDeeper() && json::Document::StartObject(); }
    bool EndObject(rapidjson::SizeType count) { return goUp() && json::Document::EndObject(count); }
    bool StartArray() { return goDeeper() && json::Document::StartArray(); }
    bool EndArray(rapidjson::SizeType count) { return goUp() && json::Document::EndArray(count); }

   private:
    static constexpr std::size_t kStackSize = 1024;

    bool goDeeper();
    bool goUp() { return depth_-- > 0; }

    int depth_ = 0;
  };

  std::string causeOf(rapidjson::ParseErrorCode code) const;

  static constexpr std::size_t kPoolSize = 65536;

  // Lines of ordinary length need no more than this; longer ones allocate.
  alignas(std::max_align_t) std::array<char, kPoolSize> pool_;
  JsonMemory memory_;
  json::Pool values_{pool_.data(), pool_.size(), kPoolSize, &memory_};
  Receiver document_{&values_, &memory_};
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> reader_{&memory_};
};

}  // namespace tavrin
