#pragma once

#include <string>
#include <vector>

#include "tavrin/Options.h"

namespace CLI {
class App;
}  // namespace CLI

namespace tavrin {

/// Parses the arguments of the command line, and with them what the configuration file of a
/// recording (--config) has beside them. The file is TOML; its keys are the long names of the
/// options of 'record':
///
///     feature = ["default", "sched-trace"]
///     interval = "1s"
///     force = true
///
/// `options` are what the options of `app` are bound to, with their defaults. Throws
/// CLI::ParseError for the arguments, and CommandError, which names file, line and cause, for the
/// file.
void parseArguments(CLI::App& app, Options& options, std::vector<std::string> arguments);

}  // namespace tavrin
