#include "writers/continuous/StateNames.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

struct SortedName {
  bool isNumeric;
  long long number;
  std::string name;
};

SortedName parse(std::string&& name) {
  char* end = nullptr;
  const long long number = std::strtoll(name.c_str(), &end, 10);
  const bool isNumeric = end == name.c_str() + name.size();
  return {isNumeric, isNumeric ? number : 0, std::move(name)};
}

}  // namespace

void sortStateNames(std::vector<std::string>& names) {
  std::vector<SortedName> sorted;
  sorted.reserve(names.size());
  for (std::string& name : names) sorted.push_back(parse(std::move(name)));
  // Where no name is numeric, readers expect the order of what follows the prefix that all names
  // share; that is the order of the names' bytes. Bytes also decide between "1" and "01".
  std::ranges::sort(sorted, [](const SortedName& a, const SortedName& b) {
    if (a.isNumeric != b.isNumeric) return a.isNumeric;
    return a.number != b.number ? a.number < b.number : a.name < b.name;
  });
  std::ranges::transform(sorted, names.begin(),
                         [](SortedName& entry) { return std::move(entry.name); });
}
