#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// Text for a line on the terminal: control characters, and bytes that are not UTF-8, become
/// "\xNN".
std::string escaped(std::string_view text);

/// The words as one line that a shell takes apart into the same words. Words with control
/// characters or bytes that are not UTF-8 are written as $'…', which bash, ksh and zsh know.
std::string shellLine(const std::vector<std::string>& words);

/// The words with something between any two of them.
std::string joined(const std::vector<std::string>& words, const std::string& between = " ");

/// The shortest text that reads back as the number, without an exponent.
std::string plainNumber(double number);

}  // namespace tavrin
