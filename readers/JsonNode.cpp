#include "readers/JsonNode.h"

#include "readers/PlainText.h"

namespace {

std::string describe(const JsonValue& value) {
  switch (value.GetType()) {
    case rapidjson::kNullType:
      return "null";
    case rapidjson::kFalseType:
      return "false";
    case rapidjson::kTrueType:
      return "true";
    case rapidjson::kObjectType:
      return "an object of " + std::to_string(value.MemberCount()) + " members";
    case rapidjson::kArrayType:
      return "an array of " + std::to_string(value.Size()) + " elements";
    case rapidjson::kStringType:
      return inQuotes({value.GetString(), value.GetStringLength()});
    case rapidjson::kNumberType:
      break;
  }
  return value.IsUint64()  ? std::to_string(value.GetUint64())
         : value.IsInt64() ? std::to_string(value.GetInt64())
                           : "the number " + numberText(value.GetDouble());
}

}  // namespace

void JsonNode::fail(std::string_view expected) const {
  throw FormatError(parent_ == nullptr ? "/" : path(), std::string(expected), describe(value_));
}

std::string JsonNode::path() const {
  if (parent_ == nullptr) return {};
  const bool isElement = parent_->value_.IsArray();
  return parent_->path() + "/" + (isElement ? std::to_string(index_) : std::string(key_));
}
