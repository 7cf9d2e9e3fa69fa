#include "readers/JsonDocument.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "readers/FormatError.h"

namespace {

/// The bytes of a file as the library takes them. The library's own stream ends at a NUL.
class JsonInput {
 public:
  using Ch = char;

  explicit JsonInput(std::istream& file) : file_(file), bytes_(kPiece) { fill(); }

  char Peek() const { return next_ < size_ ? bytes_[next_] : '\0'; }
  char Take() {
    const char letter = Peek();
    if (next_ < size_ && ++next_ == size_) fill();
    return letter;
  }
  std::size_t Tell() const { return start_ + next_; }
  bool isAtEnd() const { return size_ == 0; }

  // Of streams that are written to.
  void Put(char /*letter*/) {}
  char* PutBegin() { return nullptr; }
  std::size_t PutEnd(char* /*begin*/) { return 0; }

 private:
  static constexpr std::size_t kPiece = std::size_t{64} * 1024;

  void fill() {
    start_ += size_;
    next_ = 0;
    file_.read(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
    if (file_.bad()) throw FormatError(start_, "more bytes", "a file that cannot be read");
    size_ = static_cast<std::size_t>(file_.gcount());
  }

  std::istream& file_;
  std::vector<char> bytes_;
  std::size_t start_ = 0;
  std::size_t size_ = 0;
  std::size_t next_ = 0;
};

/// Whether the whole of `text` is a number of this type.
template <typename Number>
bool convert(std::string_view text, Number& number) {
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

/// Builds the document, down to the depth that a sound file has; a deep one could exhaust the
/// stack. Converts the numbers itself: the library makes another one of a zero with an exponent.
class ShallowDocument : public JsonDocument {
 public:
  static constexpr int kMostDepth = 16;

  bool RawNumber(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    const std::string_view number(text, length);
    std::int64_t integer = 0;
    std::uint64_t large = 0;
    double real = 0.0;
    if (convert(number, integer)) return Int64(integer);
    if (convert(number, large)) return Uint64(large);
    isInRange_ = convert(number, real);
    return isInRange_ && Double(real);
  }
  bool isInRange() const { return isInRange_; }

  bool StartObject() { return descend() && JsonDocument::StartObject(); }
  bool StartArray() { return descend() && JsonDocument::StartArray(); }
  bool EndObject(rapidjson::SizeType count) {
    --depth_;
    return JsonDocument::EndObject(count);
  }
  bool EndArray(rapidjson::SizeType count) {
    --depth_;
    return JsonDocument::EndArray(count);
  }

 private:
  bool descend() { return ++depth_ <= kMostDepth; }

  int depth_ = 0;
  bool isInRange_ = true;
};

[[noreturn]] void reject(const rapidjson::ParseResult& result) {
  if (result.Code() == rapidjson::kParseErrorTermination) {
    throw FormatError(result.Offset(),
                      "at most " + std::to_string(ShallowDocument::kMostDepth) +
                          " objects and arrays within each other",
                      "one more");
  }
  throw FormatError(result.Offset(), "a JSON document",
                    std::string("a fault: ") + rapidjson::GetParseError_En(result.Code()));
}

}  // namespace

void parseJson(std::istream& file, JsonDocument& document) {
  JsonInput input(file);
  ShallowDocument shallow;
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> reader;
  const auto parse = [&](JsonDocument& /*shallow*/) {
    return !reader.Parse<rapidjson::kParseNumbersAsStringsFlag>(input, shallow).IsError();
  };
  shallow.Populate(parse);
  if (!shallow.isInRange()) {
    reject({rapidjson::kParseErrorNumberTooBig, reader.GetErrorOffset()});
  }
  if (reader.HasParseError()) {
    reject({reader.GetParseErrorCode(), reader.GetErrorOffset()});
  }
  if (!input.isAtEnd()) throw FormatError(input.Tell(), "the end of the file", "a NUL byte");
  document.Swap(shallow);
}
