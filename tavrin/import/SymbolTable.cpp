#include "tavrin/import/SymbolTable.h"

#include <algorithm>
#include <charconv>

namespace tavrin {

SymbolTable::SymbolTable(std::string text) : text_(std::move(text)) {
  // "ffffffff81000000 T name	[module]"
  constexpr std::size_t kTypeSize = 3;
  for (std::size_t begin = 0; begin < text_.size();) {
    const std::size_t end = std::min(text_.find('\n', begin), text_.size());
    std::uint64_t address = 0;
    const char* const last = text_.data() + end;
    const auto [rest, error] = std::from_chars(text_.data() + begin, last, address, 16);
    const auto name = static_cast<std::size_t>(rest - text_.data()) + kTypeSize;
    if (error == std::errc() && name < end) symbols_.emplace_back(address, name);
    begin = end + 1;
  }
  std::ranges::sort(symbols_);
}

std::string SymbolTable::nameAt(std::uint64_t address) const {
  auto found = std::ranges::upper_bound(symbols_, address, {},
                                        &std::pair<std::uint64_t, std::size_t>::first);
  if (found == symbols_.begin()) return {};
  --found;
  return text_.substr(found->second, text_.find_first_of("\t\n ", found->second) - found->second);
}

}  // namespace tavrin
