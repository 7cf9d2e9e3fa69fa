#include "tavrin/stream/JsonLine.h"

#include <rapidjson/error/en.h>

#include <charconv>
#include <string_view>

namespace tavrin {

namespace {

constexpr unsigned int kParseFlags = rapidjson::kParseInsituFlag |
                                     rapidjson::kParseValidateEncodingFlag |
                                     rapidjson::kParseNumbersAsStringsFlag;

constexpr int kMostLevels = 16;  // no record has more than ten

template <typename Number>
bool convert(std::string_view text, Number& out) {
  const char* const end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, out);
  return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

void JsonLine::Receiver::startLine() {
  SetNull();
  depth_ = 0;
}

bool JsonLine::Receiver::isTooDeep() const {
  return depth_ > kMostLevels;
}

bool JsonLine::Receiver::goDeeper() {
  ++depth_;
  return !isTooDeep();
}

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

std::string JsonLine::causeOf(rapidjson::ParseErrorCode code) const {
  if (document_.isTooDeep()) return "nested too deeply";
  if (code == rapidjson::kParseErrorTermination || code == rapidjson::kParseErrorNumberTooBig) {
    return "a number is out of range";
  }
  std::string text = rapidjson::GetParseError_En(code);
  if (text.ends_with('.')) text.pop_back();
  return "not valid JSON: " + text;
}

const json::Value& JsonLine::parse(std::string& line) {
  // The parser takes a NUL byte for the end of the line.
  const std::size_t nul = line.find('\0');
  if (nul != std::string::npos) throw StreamError("a NUL byte", nul + 1);
  document_.startLine();
  values_.Clear();
  memory_.startLine();
  rapidjson::InsituStringStream stream(line.data());
  rapidjson::ParseResult result;
  const auto events = [&](const json::Document&) {
    result = reader_.Parse<kParseFlags>(stream, document_);
    return !result.IsError();
  };
  document_.Populate(events);
  if (!result.IsError()) return document_;
  // The bracket that leads too deep has been read already.
  throw StreamError(causeOf(result.Code()), result.Offset() + (document_.isTooDeep() ? 0 : 1));
}

}  // namespace tavrin
