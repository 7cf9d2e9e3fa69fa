#include "tavrin/manual/CommandSyntax.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>

namespace tavrin {

namespace {

/// What the placeholder of a value, or the name of an argument, says of it.
constexpr std::pair<std::string_view, Values> kByPlaceholder[] = {
    {"FILE", Values::Files},     {"PATH", Values::Files},    {"BASE", Values::Files},
    {"file", Values::Files},     {"files", Values::Files},   {"DIR", Values::Folders},
    {"FOLDER", Values::Folders}, {"folder", Values::Folders}};

/// Options whose values the tool itself can list, with the words that stand for several of them.
struct Listed {
  std::string_view option;
  Values values;
  std::vector<std::string> words;
};

const Listed* findListed(const Parameter& parameter) {
  static const Listed kListed[] = {{"--writer", Values::Writers, {"all", "every"}},
                                   {"--feature", Values::Features, {"all", "default"}}};
  const auto known = std::ranges::find_if(kListed, [&](const Listed& one) {
    return std::ranges::count(parameter.names, one.option) > 0;
  });
  return known == std::end(kListed) ? nullptr : known;
}

/// The values that a check of the parser lists in the name of the type: "NAME:{csv,jsonl}".
std::vector<std::string> choicesIn(const std::string& typeName) {
  const std::size_t open = typeName.find(":{");
  const std::size_t first = open == std::string::npos ? typeName.find('{') : open + 1;
  if (first == std::string::npos || !typeName.ends_with('}')) return {};
  return CLI::detail::split(typeName.substr(first + 1, typeName.size() - first - 2), ',');
}

void setValues(Parameter& parameter, const CLI::Option& option) {
  const std::string typeName = option.get_type_name();
  const std::string named = option.get_positional() ? option.get_name(true) : parameter.placeholder;
  const auto byPlaceholder =
      std::ranges::find(kByPlaceholder, named, [](const auto& one) { return one.first; });
  parameter.choices = choicesIn(typeName);
  if (option.get_items_expected_max() == 0) {
    parameter.values = Values::None;
  } else if (const Listed* listed = findListed(parameter)) {
    parameter.values = listed->values;
    parameter.choices = listed->words;
  } else if (!parameter.choices.empty()) {
    parameter.values = Values::Choices;
  } else if (byPlaceholder != std::end(kByPlaceholder)) {
    parameter.values = byPlaceholder->second;
  }
}

Parameter parameterOf(const CLI::Option& option) {
  Parameter parameter;
  for (const std::string& name : option.get_snames()) parameter.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) parameter.names.push_back("--" + name);
  const std::string typeName = option.get_type_name();
  parameter.placeholder = typeName.substr(0, typeName.find(':'));
  if (option.get_positional()) {
    const std::string& text = option.get_option_text();
    parameter.placeholder = text.empty() ? option.get_name(true) : text;
  }
  parameter.help = option.get_description();
  parameter.initial = option.get_default_str();
  if (parameter.initial.starts_with('[')) {
    parameter.initial = parameter.initial.substr(1, parameter.initial.size() - 2);
  }
  parameter.isList = option.get_delimiter() == ',';
  parameter.isRequired = option.get_required();
  setValues(parameter, option);
  return parameter;
}

}  // namespace

std::string completion(const CommandSyntax& tool, const std::string& shell) {
  if (shell == "bash") return bashCompletion(tool);
  return shell == "zsh" ? zshCompletion(tool) : fishCompletion(tool);
}

namespace {

/// What is called COMMAND is one of the tool's.
void offerCommands(CommandSyntax& tool) {
  std::vector<std::string> names;
  for (const CommandSyntax& command : tool.commands) names.push_back(command.name);
  for (CommandSyntax& command : tool.commands) {
    for (Parameter& argument : command.arguments) {
      if (argument.placeholder != "COMMAND") continue;
      argument.values = Values::Choices;
      argument.choices = names;
    }
  }
}

}  // namespace

CommandSyntax syntaxOf(const CLI::App& app) {
  CommandSyntax syntax{app.get_name(), app.get_description(), app.get_footer(), {}, {}, {}};
  for (const CLI::Option* option : app.get_options()) {
    (option->get_positional() ? syntax.arguments : syntax.options).push_back(parameterOf(*option));
  }
  for (const CLI::App* command : app.get_subcommands({})) {
    syntax.commands.push_back(syntaxOf(*command));
  }
  offerCommands(syntax);
  return syntax;
}

}  // namespace tavrin
