#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts of the run on their way into the page. They come from outside: nothing in them may end the
/// element that they stand in.

/// Names on the page are cut to this many bytes.
inline constexpr std::size_t kMostName = 200;

/// The text as valid UTF-8 without control characters, which U+FFFD replaces, cut with an ellipsis
/// to `most` bytes about.
std::string pageText(std::string_view text, std::size_t most = kMostName);

/// A JSON document with every `<` as an escape, so that no markup can be in it.
std::string withoutMarkup(std::string_view json);

std::string base64(std::string_view bytes);

/// The text of a number in JSON; "null" for one that is not finite.
std::string jsonNumber(double number);
