#include "tavrin/stream/JsonObject.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tavrin {

namespace {

std::string_view viewOf(const json::Value& text) {
  return {text.GetString(), text.GetStringLength()};
}

}  // namespace

namespace json {

void fail(std::string_view member, const std::string& cause) {
  throw StreamError("member \"" + std::string(member) + "\" is " + cause);
}

std::string text(const Value& value, std::string_view member) {
  if (!value.IsString()) fail(member, "not a string");
  return std::string(viewOf(value));
}

bool flag(const Value& value, std::string_view member) {
  if (!value.IsBool()) fail(member, "not true or false");
  return value.GetBool();
}

double real(const Value& value, std::string_view member) {
  if (value.IsNumber()) return value.GetDouble();
  if (!value.IsObject()) fail(member, "not a number");
  const std::string name = text(JsonObject(value, member, {"real"}).require("real"), "real");
  if (name == "nan") return std::numeric_limits<double>::quiet_NaN();
  if (name == "inf") return std::numeric_limits<double>::infinity();
  if (name == "-inf") return -std::numeric_limits<double>::infinity();
  fail("real", "not one of nan, inf, -inf");
}

float singleReal(const Value& value, std::string_view member) {
  const double number = real(value, member);
  if (std::isfinite(number) && std::abs(number) > std::numeric_limits<float>::max()) {
    fail(member, "out of range");
  }
  return static_cast<float>(number);
}

Value::ConstArray array(const Value& value, std::string_view member) {
  if (!value.IsArray()) fail(member, "not an array");
  return value.GetArray();
}

Value::ConstArray array(const Value& value, std::string_view member, std::size_t size) {
  if (!value.IsArray() || value.Size() != size) {
    fail(member, "not an array of " + std::to_string(size));
  }
  return value.GetArray();
}

}  // namespace json

JsonObject::JsonObject(const json::Value& value, std::string_view member,
                       std::initializer_list<std::string_view> members)
    : value_(&value) {
  if (!value.IsObject()) json::fail(member, "not an object");
  unsigned long long seen = 0;
  for (const auto& [name, item] : value.GetObject()) {
    const auto known = std::ranges::find(members, viewOf(name));
    if (known == members.end()) json::fail(viewOf(name), "unknown here");
    const unsigned long long bit = 1ULL << static_cast<unsigned int>(known - members.begin());
    if ((seen & bit) != 0) json::fail(*known, "doubled");
    seen |= bit;
  }
}

const json::Value* JsonObject::find(std::string_view member) const {
  for (const auto& [name, item] : value_->GetObject()) {
    if (viewOf(name) == member) return &item;
  }
  return nullptr;
}

const json::Value& JsonObject::require(std::string_view member) const {
  const json::Value* const value = find(member);
  if (value == nullptr) json::fail(member, "missing");
  return *value;
}

std::string JsonObject::text(std::string_view member) const {
  const json::Value* const value = find(member);
  return value == nullptr ? std::string() : json::text(*value, member);
}

bool JsonObject::flag(std::string_view member) const {
  const json::Value* const value = find(member);
  return value != nullptr && json::flag(*value, member);
}

double JsonObject::real(std::string_view member, double otherwise) const {
  const json::Value* const value = find(member);
  return value == nullptr ? otherwise : json::real(*value, member);
}

float JsonObject::singleReal(std::string_view member) const {
  const json::Value* const value = find(member);
  return value == nullptr ? 0.0F : json::singleReal(*value, member);
}

}  // namespace tavrin
