#pragma once

#include <string>
#include <vector>

#include "tavrin/Options.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tavrin {

// Options that several commands have. What they are given is written to where the references point,
// which has to live as long as the parser.

/// Plugin libraries and the log.
void addCommonOptions(CLI::App& app, Options& options);
/// Which outputs are written, and how.
void addOutputOptions(CLI::App& app, Options& options);
/// The machine that is looked at.
void addMachineOptions(CLI::App& app, Options& options);
/// The recordings that are read, the last arguments.
CLI::Option* addInput(CLI::App& app, Options& options);

/// Names, separated by commas.
CLI::Option* addNames(CLI::App& app, const std::string& flags, std::vector<std::string>& names,
                      const std::string& help);
/// Patterns with * and ?, an option for each.
CLI::Option* addPatterns(CLI::App& app, const std::string& flag, std::vector<std::string>& patterns,
                         const std::string& help);

/// What is collected live, and when.
void addCollectionOptions(CLI::App& app, Options& options, double& intervalMs,
                          const std::string& countFlags);

/// A time in seconds or with a unit.
CLI::Option* addTime(CLI::App& app, const std::string& flag, double& seconds,
                     const std::string& help);

/// Where files of lines are sent to, and how. The names of the options begin with `start`.
void addShipping(CLI::App& app, Options& options, const std::string& urlFlag,
                 const std::string& start, const std::string& urlHelp);

/// Sends what the recording writes: that are files of lines, numbered ones.
void addRecordShipping(CLI::App& record, Options& options);
/// What makes a service of a recording.
void addService(CLI::App& record, Options& options);

/// One of the names of formats.
void addFormat(CLI::App& app, Options& options, const std::vector<std::string>& names,
               const std::string& help);

}  // namespace tavrin
