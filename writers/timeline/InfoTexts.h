#pragma once

#include <cstddef>
#include <string_view>

/// The texts of an info record, besides the name of its type.
struct InfoTexts {
  std::string_view longName;
  std::string_view shortName;
  std::string_view description;

  /// Cut where they do not fit into a record together with the name of their type: the description
  /// first, then the long name, and the short name when it takes more than half of the room.
  InfoTexts fitting(std::string_view typeName) const;
};

/// The longest start of `text` that has at most `maxBytes` bytes and ends with a whole character of
/// UTF-8.
std::string_view cutToFit(std::string_view text, std::size_t maxBytes);
