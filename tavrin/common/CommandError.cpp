#include "tavrin/common/CommandError.h"

#include <algorithm>

namespace tavrin {

void requireKnown(const std::vector<std::string>& names, const std::vector<std::string>& known,
                  const std::string& kind) {
  for (const std::string& name : names) {
    if (std::ranges::count(known, name) > 0) continue;
    std::string list;
    for (const std::string& one : known) list.append(list.empty() ? "" : ", ").append(one);
    throw CommandError(kExitUsage, "unknown " + kind + " '" + name + "'; known are: " + list);
  }
}

}  // namespace tavrin
