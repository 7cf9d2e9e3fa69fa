#pragma once

#include <string>
#include <vector>

namespace pwr {

/// Which of the known names may have been meant by another one: the nearest, by the letters that
/// have to be added, taken out or replaced; capitals are no difference. "" if none is near enough.
std::string nearName(const std::string& name, const std::vector<std::string>& known);

}  // namespace pwr
