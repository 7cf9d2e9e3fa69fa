#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <array>
#include <concepts>
#include <cstdio>
#include <string>
#include <string_view>

#include "tavrin/stream/StreamNames.h"

namespace tavrin {

/// Writes records: one JSON object per line, each with one call to the stream. Members that would
/// be 0, empty or false are left out. Storage is reused from record to record.
class RecordWriter {
 public:
  /// `stream` is not owned.
  explicit RecordWriter(FILE* stream) : stream_(stream) {}

  void begin(std::string_view type);
  /// Writes the record that was begun. After a failed write nothing more is written.
  void end();
  /// Forgets the record that was begun.
  void discard() { buffer_.Clear(); }
  /// What the record has so far; valid until the next call.
  std::string_view soFar() const { return {buffer_.GetString(), buffer_.GetSize()}; }

  /// Returns 0, or 1 when this or anything before failed.
  int flush();

  /// Members, left out where the value says nothing.
  template <std::integral T>
  void member(std::string_view name, T number) {
    if (number != T{}) required(name, number);
  }
  void member(std::string_view name, const std::string& value);
  void member(std::string_view name, double number, double otherwise);
  void member(std::string_view name, float number);
  template <typename E, std::size_t N>
  void member(std::string_view name, E value, const std::array<names::Name<E>, N>& list) {
    if (value == list.front().value) return;
    key(name);
    text(names::nameOf(list, value));
  }
  template <typename Range, typename Write>
  void array(std::string_view name, const Range& range, Write write) {
    if (range.begin() == range.end()) return;
    key(name);
    array(range, write);
  }

  /// A member that is always written.
  template <std::integral T>
  void required(std::string_view name, T number) {
    key(name);
    integer(number);
  }

  void key(std::string_view name);

  /// Values.
  template <std::integral T>
  void integer(T number) {
    if constexpr (std::same_as<T, bool>) {
      json_.Bool(number);
    } else if constexpr (std::signed_integral<T>) {
      json_.Int64(number);
    } else {
      json_.Uint64(number);
    }
  }
  /// The shortest text with a fraction or an exponent that reads back to the same number.
  void real(double number);
  void real(float number);
  /// Bytes that are not UTF-8 become U+FFFD.
  void text(std::string_view value);
  void null() { json_.Null(); }

  void beginArray() { json_.StartArray(); }
  void endArray() { json_.EndArray(); }
  void beginObject() { json_.StartObject(); }
  void endObject() { json_.EndObject(); }
  template <typename Range, typename Write>
  void array(const Range& range, Write write) {
    beginArray();
    for (const auto& item : range) write(item);
    endArray();
  }

 private:
  template <typename Real>
  void writeReal(Real number);

  FILE* stream_;
  bool failed_ = false;
  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer> json_{buffer_};
};

}  // namespace tavrin
