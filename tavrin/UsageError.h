#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace tavrin {

/// One line about what is wrong with `arguments`, which the parser refused with `error`: what it
/// is, what may have been meant, and where to read on. `arguments` are those of the tool, in order.
std::string usageError(const CLI::App& app, const std::vector<std::string>& arguments,
                       const CLI::ParseError& error);

}  // namespace tavrin
