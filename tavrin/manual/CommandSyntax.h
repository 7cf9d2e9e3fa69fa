#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tavrin {

/// What may be given as the value of an option, or as an argument.
enum class Values {
  None,   ///< a flag
  Any,    ///< what only the user knows
  Files,  ///< also base names of files
  Folders,
  Choices,   ///< those of Parameter::choices
  Writers,   ///< what 'tavrin list writers' has, and the choices
  Features,  ///< what 'tavrin list features' has, and the choices
};

/// An option, or an argument that stands alone.
struct Parameter {
  std::vector<std::string> names;  ///< with their dashes; none for an argument
  std::string placeholder;         ///< what stands for the value in texts
  std::string help;
  std::string initial;  ///< the value if none is given; "" for none
  std::vector<std::string> choices;
  Values values = Values::Any;
  bool isList = false;  ///< several values, separated by commas
  bool isRequired = false;
};

/// The tool, or one of its commands, as the parser of the command line knows it: what help, manual
/// pages and completions tell comes from one place.
struct CommandSyntax {
  std::string name;  ///< "tavrin" or "record"
  std::string help;
  std::string footer;
  std::vector<Parameter> options;
  std::vector<Parameter> arguments;
  std::vector<CommandSyntax> commands;
};

CommandSyntax syntaxOf(const CLI::App& app);

/// The text of the manual page of the tool, or of the command if that is not empty: troff with the
/// macros "man". Throws CommandError for an unknown command.
std::string manualPage(const CommandSyntax& tool, const std::string& command);

/// What a shell reads to complete the tool's command lines. `shell` is bash, zsh or fish.
std::string completion(const CommandSyntax& tool, const std::string& shell);
std::string bashCompletion(const CommandSyntax& tool);
std::string zshCompletion(const CommandSyntax& tool);
std::string fishCompletion(const CommandSyntax& tool);

}  // namespace tavrin
