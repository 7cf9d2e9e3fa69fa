#pragma once

#include <string>
#include <vector>

/// How one of several things can be called.
struct NameChoice {
  std::string shortName;
  std::string fullName;
  /// Of things that have one full name: who keeps it comes first.
  unsigned long long order = 0;
};

/// Names that are all different, one for each choice: the short ones, but the full ones for all
/// that have a name in common with another, whatever their sequence here. Where even the full name
/// is another's, a number follows: "CPU3 (2)".
std::vector<std::string> uniqueNames(const std::vector<NameChoice>& choices);

/// Brings state names, which are all different, into the order in which a group lists them. Names
/// that are whole decimal numbers (the empty name counts as 0) come first, by their value; all
/// others follow by their bytes.
void sortStateNames(std::vector<std::string>& names);
