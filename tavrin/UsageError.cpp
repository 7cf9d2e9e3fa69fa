#include "tavrin/UsageError.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "hostcommon/NearName.h"

namespace tavrin {

namespace {

std::vector<std::string> commandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

std::vector<std::string> optionsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

bool isOption(const std::string& argument) {
  return argument.size() > 1 && argument.front() == '-';
}

/// What is wrong with an argument that the parser has no place for.
std::string unexpected(const std::string& argument, const CLI::App& command) {
  if (isOption(argument)) {
    const std::string name = argument.substr(0, argument.find('='));
    return "unknown option '" + name + "'" + nameHint(name, optionsOf(command));
  }
  const bool isRecord = command.get_name() == "record";
  return "unexpected argument '" + argument + "'" +
         (isRecord ? "; a command to measure follows '--'" : "");
}

std::string problem(const CLI::App& app, const CLI::App& command,
                    const std::vector<std::string>& arguments, const CLI::ParseError& error) {
  const bool hasCommand = &command != &app;
  if (!hasCommand && arguments.empty()) return "no command is given";
  if (!hasCommand && !isOption(arguments.front())) {
    return "'" + arguments.front() + "' is not a command" +
           nameHint(arguments.front(), commandsOf(app));
  }
  const std::vector<std::string> remaining = app.remaining(true);
  const auto first = std::ranges::find_if(arguments, [&](const std::string& argument) {
    return std::ranges::count(remaining, argument) > 0;
  });
  return first != arguments.end() ? unexpected(*first, command) : error.what();
}

}  // namespace

std::string nameHint(const std::string& name, const std::vector<std::string>& known) {
  const std::string similar = pwr::nearName(name, known);
  return similar.empty() ? similar : "; did you mean '" + similar + "'?";
}

std::string usageError(const CLI::App& app, const std::vector<std::string>& arguments,
                       const CLI::ParseError& error) {
  const std::vector<CLI::App*> parsed = app.get_subcommands();
  const CLI::App& command = parsed.empty() ? app : *parsed.front();
  const std::string text = problem(app, command, arguments, error);
  const std::string help =
      parsed.empty() ? "tavrin --help" : "tavrin " + command.get_name() + " --help";
  return text + (text.ends_with('?') ? " See '" : ". See '") + help + "'.";
}

}  // namespace tavrin
