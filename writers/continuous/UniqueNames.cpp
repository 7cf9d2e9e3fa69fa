#include "writers/continuous/UniqueNames.h"

#include <algorithm>
#include <numeric>
#include <unordered_map>
#include <unordered_set>

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

}  // namespace

std::vector<std::string> uniqueNames(const std::vector<NameChoice>& choices) {
  std::vector<std::string> names;
  for (const NameChoice& choice : choices) names.push_back(choice.shortName);
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
