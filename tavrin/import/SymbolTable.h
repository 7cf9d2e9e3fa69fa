#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrin {

/// The names of a kernel's functions and data by their addresses ("/proc/kallsyms").
class SymbolTable {
 public:
  explicit SymbolTable(std::string text);

  /// The name of what begins at the address or before it; empty where nothing does.
  std::string nameAt(std::uint64_t address) const;

 private:
  std::string text_;
  std::vector<std::pair<std::uint64_t, std::size_t>> symbols_;  // address, and where the name is
};

}  // namespace tavrin
