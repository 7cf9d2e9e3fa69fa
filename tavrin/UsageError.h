#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace tavrin {

/// "; did you mean 'NAME'?" for the nearest of the known names; "" if none is near enough.
std::string nameHint(const std::string& name, const std::vector<std::string>& known);

/// One line about what is wrong with `arguments`, which the parser refused with `error`: what it
/// is, what may have been meant, and where to read on. `arguments` are those of the tool, in order.
std::string usageError(const CLI::App& app, const std::vector<std::string>& arguments,
                       const CLI::ParseError& error);

}  // namespace tavrin
