#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string_view>

#include "formats/json_memory.h"

/// What is in memory of a document of either kind, and its compact writer. Memory that runs out is
/// told by std::bad_alloc.
using JsonBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, JsonMemory>;
using JsonWriter = rapidjson::Writer<JsonBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory>;

inline void writeText(JsonWriter& json, std::string_view text) {
  // An empty view may point nowhere, which the library does not accept.
  json.String(text.empty() ? "" : text.data(), static_cast<rapidjson::SizeType>(text.size()));
}
inline void writeKey(JsonWriter& json, std::string_view key) {
  json.Key(key.empty() ? "" : key.data(), static_cast<rapidjson::SizeType>(key.size()));
}

inline void writeMember(JsonWriter& json, std::string_view key, std::string_view text) {
  writeKey(json, key);
  writeText(json, text);
}
inline void writeMember(JsonWriter& json, std::string_view key, unsigned long long number) {
  writeKey(json, key);
  json.Uint64(number);
}
inline void writeMember(JsonWriter& json, std::string_view key, double number) {
  writeKey(json, key);
  json.Double(number);
}
