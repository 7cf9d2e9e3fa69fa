#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "exporters/html/PageText.h"

/// Puts a JSON document together. All texts are valid UTF-8 by now (`pageText`).
class PageJson {
 public:
  void beginObject() { writer_.StartObject(); }
  void endObject() { writer_.EndObject(); }
  void beginArray() { writer_.StartArray(); }
  void endArray() { writer_.EndArray(); }
  void beginArray(std::string_view name) {
    key(name);
    writer_.StartArray();
  }

  void key(std::string_view name) { writer_.Key(name.data(), sizeOf(name)); }
  void text(std::string_view value) { writer_.String(value.data(), sizeOf(value)); }
  /// A finished piece of JSON.
  void raw(std::string_view json) {
    writer_.RawValue(json.data(), json.size(), rapidjson::kObjectType);
  }

  void member(std::string_view name, std::string_view value) {
    key(name);
    text(value);
  }
  void member(std::string_view name, double value) {
    key(name);
    raw(jsonNumber(value));
  }
  void member(std::string_view name, const char* value) { member(name, std::string_view(value)); }
  void member(std::string_view name, bool value) {
    key(name);
    writer_.Bool(value);
  }
  void rawMember(std::string_view name, std::string_view json) {
    key(name);
    raw(json);
  }

  std::string_view json() const { return {buffer_.GetString(), buffer_.GetSize()}; }

 private:
  static rapidjson::SizeType sizeOf(std::string_view text) {
    return static_cast<rapidjson::SizeType>(text.size());
  }

  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer> writer_{buffer_};
};

/// The text as a JSON string.
inline std::string quotedJson(std::string_view text) {
  PageJson json;
  json.text(text);
  return std::string(json.json());
}
