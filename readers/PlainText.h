#pragma once

#include <string>
#include <string_view>

/// Text of a file for the terminal: bytes that could steer it, and backslashes, become "\xNN".
std::string printable(std::string_view text);

/// The text between quotation marks, for an error: of a long one its beginning, with "..." behind.
std::string inQuotes(std::string_view text);

/// Shortest text that reads back to the same number.
std::string numberText(double value);
std::string numberText(float value);
