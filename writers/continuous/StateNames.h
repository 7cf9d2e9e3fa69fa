#pragma once

#include <string>
#include <vector>

/// Brings state names, which are all different, into the order in which a group lists them. Names
/// that are whole decimal numbers (the empty name counts as 0) come first, by their value; all
/// others follow by their bytes.
void sortStateNames(std::vector<std::string>& names);
