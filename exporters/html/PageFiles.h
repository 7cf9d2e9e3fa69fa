#pragma once

#include <string_view>

/// The parts of the page that are the same in every file. A generated source has them
/// (EmbedPage.cmake).
struct PageFiles {
  std::string_view script;
  std::string_view scriptHash;  ///< SHA-256 of the script, in hexadecimal digits
  std::string_view style;
  std::string_view styleHash;
  std::string_view body;
};

const PageFiles& pageFiles();
