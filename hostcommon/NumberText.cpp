#include "hostcommon/NumberText.h"

#include <array>
#include <charconv>
#include <system_error>

namespace pwr {

namespace {

// The longest fixed text of a double has 309 digits before the point; a sign and the point come on
// top of the decimals.
constexpr std::size_t kLongestWhole = 312;

}  // namespace

void appendFixed(std::string& out, double value, int decimals) {
  const std::size_t start = out.size();
  out.resize(start + kLongestWhole + static_cast<std::size_t>(decimals));
  const auto result = std::to_chars(out.data() + start, out.data() + out.size(), value,
                                    std::chars_format::fixed, decimals);
  out.resize(static_cast<std::size_t>(result.ptr - out.data()));
}

void appendShortest(std::string& out, double value) {
  std::array<char, 32> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  out.append(buffer.data(), result.ptr);
}

}  // namespace pwr
