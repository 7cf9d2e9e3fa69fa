#include "writers/continuous/DocumentNames.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace {

/// Gives their full names to all whose names are not their own. One full name may be the short name
/// of another, so this goes on until nothing changes.
void showInFull(const std::vector<NameChoice>& choices, std::vector<std::string>& names) {
  std::vector<bool> isFull(names.size());
  for (bool hasChanged = true; hasChanged;) {
    hasChanged = false;
    std::unordered_map<std::string, int> users;
    for (const std::string& name : names) ++users[name];
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (isFull[i] || users[names[i]] == 1) continue;
      names[i] = choices[i].fullName;
      isFull[i] = true;
      hasChanged = true;
    }
  }
}

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

std::vector<std::string> uniqueNames(const std::vector<NameChoice>& choices) {
  std::vector<std::string> names(choices.size());
  std::ranges::transform(choices, names.begin(), &NameChoice::shortName);
  showInFull(choices, names);

  std::vector<std::size_t> places(names.size());
  std::iota(places.begin(), places.end(), std::size_t{0});
  std::ranges::stable_sort(places, {}, [&](std::size_t place) { return choices[place].order; });
  std::unordered_set<std::string> taken(names.begin(), names.end());
  std::unordered_set<std::string> kept;
  for (const std::size_t place : places) {
    if (kept.insert(names[place]).second) continue;
    const std::string& fullName = choices[place].fullName;
    int number = 2;
    do {
      names[place] = fullName + " (" + std::to_string(number++) + ")";
    } while (!taken.insert(names[place]).second);
  }
  return names;
}

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
