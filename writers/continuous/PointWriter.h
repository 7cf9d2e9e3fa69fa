#pragma once

#include <cstddef>
#include <cstring>
#include <string>

#include "writers/continuous/JsonText.h"

/// The JSON writer of a trace's points, which are nearly all of its text. Numbers are the
/// library's; what stands between them never needs escaping and is copied as it is, which makes a
/// trace cost less than the library's calls for one value after the other would.
class PointWriter : public JsonWriter {
 public:
  using JsonWriter::JsonWriter;

  /// Starts a point as the next element of an array, up to the value of "y".
  void startPoint(unsigned long long x, unsigned long long x1) {
    Prefix(rapidjson::kObjectType);
    char* const begin = os_->Push(kMostOfHead);
    char* end = append(begin, "{\"x\":");
    end = rapidjson::internal::u64toa(x, end);
    end = append(end, ",\"x1\":");
    end = rapidjson::internal::u64toa(x1, end);
    end = append(end, ",\"y\":");
    os_->Pop(kMostOfHead - static_cast<std::size_t>(end - begin));
  }
  void endPoint() { os_->Put('}'); }

  /// What stands within a point. Writes nothing for a number that is not finite.
  void number(double value) { WriteDouble(value); }
  void copy(const std::string& text) {
    std::memcpy(os_->Push(text.size()), text.data(), text.size());
  }
  template <std::size_t Size>
  void copy(const char (&text)[Size]) {
    std::memcpy(os_->Push(Size - 1), text, Size - 1);
  }

 private:
  static constexpr std::size_t kMostOfHead = 64;
  template <std::size_t Size>
  static char* append(char* to, const char (&text)[Size]) {
    std::memcpy(to, text, Size - 1);
    return to + Size - 1;
  }
};
