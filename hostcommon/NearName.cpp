#include "hostcommon/NearName.h"

#include <algorithm>
#include <numeric>
#include <string_view>

namespace pwr {

namespace {

char withoutCapital(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// How many letters have to be added, taken out or replaced to make one name of the other.
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (const char letter : one) {
    std::size_t before = row[0]++;
    for (std::size_t n = 0; n < other.size(); ++n) {
      const bool isSame = withoutCapital(letter) == withoutCapital(other[n]);
      const std::size_t replaced = before + (isSame ? 0 : 1);
      before = row[n + 1];
      row[n + 1] = std::min({replaced, row[n] + 1, before + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string nearName(const std::string& name, const std::vector<std::string>& known) {
  const auto away = [&name](const std::string& one) { return distance(name, one); };
  const auto nearest = std::ranges::min_element(known, {}, away);
  const bool isNear =
      nearest != known.end() && away(*nearest) <= std::max<std::size_t>(1, name.size() / 3);
  return isNear ? *nearest : std::string();
}

}  // namespace pwr
