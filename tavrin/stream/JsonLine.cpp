#include "tavrin/stream/JsonLine.h"

#include <rapidjson/error/en.h>

#include <charconv>
#include <limits>
#include <string_view>

#include "tavrin/stream/StreamError.h"

namespace tavrin {

namespace {

// Iterative: the depth of the nesting is the input's choice and must not exhaust the stack.
constexpr unsigned int kParseFlags =
    rapidjson::kParseInsituFlag | rapidjson::kParseValidateEncodingFlag |
    rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseIterativeFlag;

template <typename Number>
bool convert(std::string_view text, Number& out) {
  const char* const end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, out);
  return result.ec == std::errc() && result.ptr == end;
}

std::string causeOf(rapidjson::ParseErrorCode code) {
  if (code == rapidjson::kParseErrorTermination || code == rapidjson::kParseErrorNumberTooBig) {
    return "a number is out of range";
  }
  std::string text = rapidjson::GetParseError_En(code);
  if (text.ends_with('.')) text.pop_back();
  return "not valid JSON: " + text;
}

}  // namespace

bool JsonLine::Receiver::RawNumber(const char* text, rapidjson::SizeType length, bool /*copy*/) {
  const std::string_view number(text, length);
  double real = 0.0;
  std::int64_t negative = 0;
  std::uint64_t positive = 0;
  if (number.find_first_of(".eE") != std::string_view::npos) {
    return convert(number, real) && Double(real);
  }
  if (number.front() == '-') return convert(number, negative) && Int64(negative);
  return convert(number, positive) && Uint64(positive);
}

const rapidjson::Value& JsonLine::parse(std::string& line) {
  // The parser takes a NUL byte for the end of the line and counts in 32 bits.
  const std::size_t nul = line.find('\0');
  if (nul != std::string::npos) throw StreamError("a NUL byte", nul + 1);
  if (line.size() >= std::numeric_limits<rapidjson::SizeType>::max()) {
    throw StreamError("the line is longer than 4 GiB");
  }
  document_.SetNull();
  allocator_.Clear();
  rapidjson::InsituStringStream stream(line.data());
  rapidjson::ParseResult result;
  const auto events = [&](const rapidjson::Document&) {
    result = reader_.Parse<kParseFlags>(stream, document_);
    return !result.IsError();
  };
  document_.Populate(events);
  if (result.IsError()) throw StreamError(causeOf(result.Code()), result.Offset() + 1);
  return document_;
}

}  // namespace tavrin
