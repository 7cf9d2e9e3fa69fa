#include "tavrin/stream/RecordWriter.h"

#include <rapidjson/memorystream.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace tavrin {

namespace {

/// Number of bytes of the character at the start of `text`; 0 when it is not UTF-8.
std::size_t characterSize(std::string_view text) {
  rapidjson::MemoryStream stream(text.data(), text.size());
  unsigned int codePoint = 0;
  return rapidjson::UTF8<>::Decode(stream, &codePoint) ? stream.Tell() : 0;
}

std::size_t validPrefix(std::string_view text) {
  std::size_t size = 0;
  while (size < text.size()) {
    const std::size_t next =
        static_cast<unsigned char>(text[size]) < 0x80 ? 1 : characterSize(text.substr(size));
    if (next == 0) break;
    size += next;
  }
  return size;
}

std::string repaired(std::string_view text) {
  std::string valid;
  while (!text.empty()) {
    const std::size_t size = validPrefix(text);
    valid.append(text.substr(0, size));
    if (size == text.size()) break;
    valid.append("\xEF\xBF\xBD");
    text.remove_prefix(size + 1);
  }
  return valid;
}

rapidjson::SizeType sizeOf(std::string_view text) {
  return static_cast<rapidjson::SizeType>(text.size());
}

}  // namespace

void RecordWriter::begin(std::string_view type) {
  buffer_.Clear();
  json_.Reset(buffer_);
  json_.StartObject();
  key("type");
  text(type);
}

void RecordWriter::end() {
  json_.EndObject();
  buffer_.Put('\n');
  if (failed_) return;
  failed_ = std::fwrite(buffer_.GetString(), 1, buffer_.GetSize(), stream_) != buffer_.GetSize();
}

int RecordWriter::flush() {
  failed_ = std::fflush(stream_) != 0 || failed_;
  return failed_ ? 1 : 0;
}

void RecordWriter::member(std::string_view name, const std::string& value) {
  if (value.empty()) return;
  key(name);
  text(value);
}

void RecordWriter::member(std::string_view name, double number, double otherwise) {
  if (std::bit_cast<std::uint64_t>(number) == std::bit_cast<std::uint64_t>(otherwise)) return;
  key(name);
  real(number);
}

void RecordWriter::member(std::string_view name, float number) {
  if (std::bit_cast<std::uint32_t>(number) == 0) return;
  key(name);
  real(number);
}

void RecordWriter::key(std::string_view name) {
  json_.Key(name.data(), sizeOf(name));
}

void RecordWriter::text(std::string_view value) {
  if (validPrefix(value) == value.size()) {
    json_.String(value.data(), sizeOf(value));
  } else {
    const std::string valid = repaired(value);
    json_.String(valid.data(), sizeOf(valid));
  }
}

void RecordWriter::real(double number) {
  writeReal(number);
}
void RecordWriter::real(float number) {
  writeReal(number);
}

template <typename Real>
void RecordWriter::writeReal(Real number) {
  if (!std::isfinite(number)) {
    beginObject();
    key("real");
    text(std::isnan(number) ? "nan" : number > 0 ? "inf" : "-inf");
    endObject();
    return;
  }
  std::array<char, 32> digits{};
  char* end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  const std::string_view shortest(digits.data(), static_cast<std::size_t>(end - digits.data()));
  // Without a fraction it would read back as an integer.
  if (shortest.find_first_of(".e") == std::string_view::npos) {
    *end++ = '.';
    *end++ = '0';
  }
  json_.RawValue(digits.data(), static_cast<std::size_t>(end - digits.data()),
                 rapidjson::kNumberType);
}

}  // namespace tavrin
