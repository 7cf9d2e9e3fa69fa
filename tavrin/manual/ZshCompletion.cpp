#include "tavrin/common/PlainText.h"
#include "tavrin/manual/CommandSyntax.h"

namespace tavrin {

namespace {

constexpr const char* kZshHead = R"zsh(#compdef tavrin
# zsh completion of tavrin
_tavrin_names() {
  local kind=$1
  local -a names
  shift
  names=($@ ${(f)"$(tavrin list $kind 2>/dev/null | sed -n 's/^  \([^ ]*\) .*/\1/p')"})
  _values -s , $kind $names
}
_tavrin() {
  local state
  local -i marker=${words[(i)--]}
  local -a subcommands  # 'commands' is what the shell itself knows
  # What is measured is completed as if it stood alone.
  if [[ $words[2] = record ]] && (( marker < CURRENT )); then
    shift $marker words
    (( CURRENT -= marker ))
    _normal
    return
  fi
  subcommands=(
)zsh";

/// Some text within the brackets of an argument and between apostrophes.
std::string zshQuoted(const std::string& text, const std::string& special) {
  std::string out;
  for (const char letter : text) {
    if (letter == '\'') {
      out += "'\\''";
    } else {
      if (special.find(letter) != std::string::npos) out += '\\';
      out += letter;
    }
  }
  return out;
}

/// What completes the value of a parameter. A blank at the start keeps `_arguments` from adding
/// options.
std::string actionOf(const Parameter& parameter) {
  const std::string choices = joined(parameter.choices);
  switch (parameter.values) {
    case Values::Files:
      return "_files";
    case Values::Folders:
      return "_files -/";
    case Values::Choices:
      return parameter.isList ? " _values -s , value " + choices : "(" + choices + ")";
    case Values::Writers:
      return " _tavrin_names writers " + choices;
    case Values::Features:
      return " _tavrin_names features " + choices;
    case Values::None:
    case Values::Any:
      break;
  }
  return " ";
}

std::string messageOf(const Parameter& parameter) {
  return ":" + zshQuoted(parameter.placeholder, "\\:[]") + ":" + actionOf(parameter);
}

/// A line for each name: no two of them can be given as one.
std::string argumentTexts(const CommandSyntax& command) {
  std::string text;
  for (const Parameter& option : command.options) {
    for (const std::string& name : option.names) {
      text += " \\\n        '*" + name + "[" + zshQuoted(option.help, "\\[]:") + "]" +
              (option.values == Values::None ? "" : messageOf(option)) + "'";
    }
  }
  for (const Parameter& argument : command.arguments) {
    text += " \\\n        '*" + messageOf(argument) + "'";
  }
  return text;
}

}  // namespace

std::string zshCompletion(const CommandSyntax& tool) {
  std::string text = kZshHead;
  std::string cases;
  for (const CommandSyntax& command : tool.commands) {
    text += "    '" + command.name + ":" + zshQuoted(command.help, "\\:") + "'\n";
    cases += "      " + command.name + ")\n        _arguments" + argumentTexts(command) +
             "\n        ;;\n";
  }
  return text + "  )\n  _arguments -C" + argumentTexts({{}, {}, {}, tool.options, {}, {}}) +
         " \\\n        '1: :->command' '*:: :->arguments'\n"
         "  case $state in\n    command) _describe command subcommands ;;\n"
         "    arguments) case $words[1] in\n" +
         cases + "      esac ;;\n  esac\n}\n" +
         "if [ \"$funcstack[1]\" = _tavrin ]; then _tavrin \"$@\"; else compdef _tavrin tavrin; "
         "fi\n";
}

}  // namespace tavrin
