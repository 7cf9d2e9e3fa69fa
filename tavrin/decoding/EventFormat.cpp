#include "tavrin/decoding/EventFormat.h"

#include <algorithm>
#include <charconv>

namespace tavrin {

namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view stripped(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

/// Takes what comes before the separator off the text.
std::string_view takeUpTo(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return taken;
}

template <typename Number>
std::optional<Number> number(std::string_view text) {
  text = stripped(text);
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

/// The text behind "key:" when it begins with that.
std::optional<std::string_view> valueOf(std::string_view text, std::string_view key) {
  text = stripped(text);
  if (!text.starts_with(key) || text.substr(key.size()).substr(0, 1) != ":") return std::nullopt;
  return stripped(text.substr(key.size() + 1));
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// Of the C type; that of an enumeration or a type that is not known is the size of `int`.
unsigned int sizeOfType(std::string_view type, std::size_t longSize) {
  if (contains(type, "*") || contains(type, "cpumask")) return static_cast<unsigned int>(longSize);
  if (contains(type, "64") || contains(type, "long long")) return 8;
  if (contains(type, "long") || contains(type, "size_t")) {
    return static_cast<unsigned int>(longSize);
  }
  if (contains(type, "16") || contains(type, "short")) return 2;
  if (contains(type, "char") || contains(type, "bool") || contains(type, "u8") ||
      contains(type, "s8") || contains(type, "int8")) {
    return 1;
  }
  return 4;
}

/// What C declares: "unsigned long args[6]", "__data_loc char[] name", "const char * fmt".
void parseDeclaration(std::string_view text, std::size_t longSize, FormatField& field) {
  for (const auto& [word, kind] : {std::pair{"__data_loc", FieldPlace::Kind::Dynamic},
                                   std::pair{"__rel_loc", FieldPlace::Kind::Relative}}) {
    if (!text.starts_with(word)) continue;
    field.place.kind = kind;
    text = stripped(text.substr(std::string_view(word).size()));
  }
  field.isArray = field.place.kind != FieldPlace::Kind::Here;
  if (text.ends_with(']')) {
    field.isArray = true;
    text = stripped(text.substr(0, text.rfind('[')));
  }
  const std::size_t nameBegin = text.find_last_of(" \t*]") + 1;  // 0 where there is only a name
  field.name = text.substr(nameBegin);
  std::string_view type = stripped(text.substr(0, nameBegin));
  if (type.ends_with("[]")) type = stripped(type.substr(0, type.size() - 2));
  field.isText = field.isArray && (type == "char" || type == "const char");
  field.elementSize = field.isArray ? sizeOfType(type, longSize) : 0;
}

/// "field:int cpu;	offset:8;	size:4;	signed:1;"
std::optional<FormatField> parseField(std::string_view line, std::size_t longSize) {
  const auto declaration = valueOf(takeUpTo(line, ';'), "field");
  if (!declaration) return std::nullopt;
  FormatField field;
  parseDeclaration(*declaration, longSize, field);
  while (!stripped(line).empty()) {
    const std::string_view part = takeUpTo(line, ';');
    if (const auto offset = valueOf(part, "offset")) {
      const auto value = number<std::uint16_t>(*offset);
      if (!value) return std::nullopt;
      field.place.offset = *value;
    } else if (const auto size = valueOf(part, "size")) {
      const auto value = number<std::uint16_t>(*size);
      if (!value) return std::nullopt;
      field.place.size = *value;
    } else if (const auto isSigned = valueOf(part, "signed")) {
      field.place.isSigned = *isSigned == "1";
    }
  }
  return field;
}

}  // namespace

const FormatField* EventFormat::find(std::string_view fieldName) const {
  for (const auto* const list : {&fields, &common}) {
    const auto found = std::ranges::find(*list, fieldName, &FormatField::name);
    if (found != list->end()) return &*found;
  }
  return nullptr;
}

std::optional<EventFormat> EventFormat::parse(std::string_view text, std::size_t longSize) {
  EventFormat format;
  bool hasId = false;
  while (!text.empty()) {
    const std::string_view line = takeUpTo(text, '\n');
    if (const auto name = valueOf(line, "name")) {
      format.name = *name;
    } else if (const auto id = valueOf(line, "ID")) {
      const auto value = number<std::uint16_t>(*id);
      if (!value) return std::nullopt;
      format.id = *value;
      hasId = true;
    } else if (const auto field = parseField(line, longSize)) {
      (field->name.starts_with("common_") ? format.common : format.fields).push_back(*field);
    } else if (valueOf(line, "print fmt")) {
      break;  // which may be long
    }
  }
  if (!hasId || format.name.empty()) return std::nullopt;
  return format;
}

std::vector<FormatField> parseFields(std::string_view text, std::size_t longSize) {
  std::vector<FormatField> fields;
  while (!text.empty()) {
    if (auto field = parseField(takeUpTo(text, '\n'), longSize))
      fields.push_back(std::move(*field));
  }
  return fields;
}

}  // namespace tavrin
