#include "hostcommon/session/HostError.h"

#include <algorithm>

#include "hostcommon/NearName.h"

namespace pwr {

HostError::HostError(Cause cause, const std::string& message)
    : std::runtime_error(message), cause_(cause) {}

HostError::~HostError() = default;

void requireKnown(const std::vector<std::string>& names, const std::vector<std::string>& known,
                  const std::string& kind) {
  for (const std::string& name : names) {
    if (std::ranges::count(known, name) > 0) continue;
    const std::string similar = nearName(name, known);
    std::string text = "unknown ";
    text.append(kind).append(" '").append(name).append("'; ");
    if (!similar.empty()) text.append("did you mean '").append(similar).append("'? ");
    text.append("known are");
    char mark = ':';
    for (const std::string& one : known) {
      text.append(1, mark).append(1, ' ').append(one);
      mark = ',';
    }
    throw HostError(HostError::Cause::Request, text);
  }
}

}  // namespace pwr
