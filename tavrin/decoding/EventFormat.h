#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// Where a field is in the bytes of an event.
struct FieldPlace {
  enum class Kind {
    Here,
    Dynamic,   ///< holds where the content is (`__data_loc`)
    Relative,  ///< holds where the content is, counted from the end of the field (`__rel_loc`)
  };

  unsigned int offset = 0;
  unsigned int size = 0;  ///< 0: up to the end of the event
  bool isSigned = false;
  Kind kind = Kind::Here;
};

struct FormatField {
  std::string name;
  FieldPlace place;
  bool isArray = false;
  bool isText = false;           ///< an array of letters
  unsigned int elementSize = 0;  ///< of an array's numbers
};

/// What the kernel tells of an event's bytes (its "format" file, Documentation/trace/events.rst).
struct EventFormat {
  std::string name;
  std::uint16_t id = 0;
  std::vector<FormatField> common;  ///< which all events have
  std::vector<FormatField> fields;

  /// Null where there is no such field, in either list.
  const FormatField* find(std::string_view fieldName) const;

  /// `longSize`: of a `long` of that kernel. Nothing for a text that is no format.
  static std::optional<EventFormat> parse(std::string_view text, std::size_t longSize);
};

/// The fields of a description that has nothing else (`events/header_page`), line by line.
std::vector<FormatField> parseFields(std::string_view text, std::size_t longSize);

}  // namespace tavrin
