#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "readers/FormatError.h"
#include "readers/JsonDocument.h"

/// A value of a JSON document that knows where it stands, so that a fault can be named by its path
/// ("/data/Temperature/metaData/type"). The path is put together only for a fault: nodes live on
/// the stack and point to the node that they come from.
class JsonNode {
 public:
  explicit JsonNode(const JsonValue& root) : value_(root) {}

  const JsonValue& value() const { return value_; }

  /// The following throw FormatError when the value is not what they return.
  const JsonNode& object() const { return require(value_.IsObject(), "an object"); }
  const JsonNode& array() const { return require(value_.IsArray(), "an array"); }
  std::string_view text() const {
    require(value_.IsString(), "a string");
    return {value_.GetString(), value_.GetStringLength()};
  }
  bool flag() const { return require(value_.IsBool(), "true or false").value_.GetBool(); }
  double number() const { return require(value_.IsNumber(), "a number").value_.GetDouble(); }
  std::uint64_t whole() const {
    return require(value_.IsUint64(), "a whole number that is not negative").value_.GetUint64();
  }

  bool has(const char* key) const { return value_.HasMember(key); }
  /// The first member with the key. The value must be an object, the key outlive the node.
  JsonNode member(const char* key) const {
    const auto found = value_.FindMember(key);
    require(found != value_.MemberEnd(), std::string("the member \"") + key + "\"");
    return JsonNode(found->value, this, key, 0);
  }

  /// One member of an object, one element of an array. They must be there.
  JsonNode memberAt(JsonValue::ConstMemberIterator at) const {
    return JsonNode(at->value, this, {at->name.GetString(), at->name.GetStringLength()}, 0);
  }
  JsonNode elementAt(rapidjson::SizeType index) const {
    return JsonNode(value_[index], this, {}, index);
  }

  /// Calls `visit(key, node)` for every member of an object.
  template <typename Visit>
  void eachMember(const Visit& visit) const {
    for (const auto& member : object().value_.GetObject()) {
      const std::string_view key(member.name.GetString(), member.name.GetStringLength());
      visit(key, JsonNode(member.value, this, key, 0));
    }
  }
  /// Calls `visit(node)` for every element of an array.
  template <typename Visit>
  void eachElement(const Visit& visit) const {
    std::size_t index = 0;
    for (const JsonValue& element : array().value_.GetArray()) {
      visit(JsonNode(element, this, {}, index++));
    }
  }

  /// Throws FormatError unless `isMet`.
  const JsonNode& require(bool isMet, std::string_view expected) const {
    if (!isMet) fail(expected);
    return *this;
  }

 private:
  JsonNode(const JsonValue& value, const JsonNode* parent, std::string_view key, std::size_t index)
      : value_(value), parent_(parent), key_(key), index_(index) {}

  [[noreturn]] void fail(std::string_view expected) const;
  std::string path() const;

  const JsonValue& value_;
  const JsonNode* parent_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
};
