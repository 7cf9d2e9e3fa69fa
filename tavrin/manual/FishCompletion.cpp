#include "tavrin/common/PlainText.h"
#include "tavrin/manual/CommandSyntax.h"

namespace tavrin {

namespace {

/// The lists, whose last value alone is completed, begin with what is already there. What follows
/// "--" is completed as if it stood alone.
constexpr const char* kFishHead = R"(# fish completion of tavrin
function __tavrin_names
    tavrin list $argv[1] 2>/dev/null | string replace -rf '^  (\S+) .*' '$1'
end
function __tavrin_list
    set -l start (commandline -ct | string replace -r '^-[^=]*=' '' | string replace -rf '[^,]*$' '')
    for value in $argv
        echo $start$value
    end
end
function __tavrin_measures
    set -l words (commandline -opc)
    test "$words[2]" = record; and contains -- -- $words
end
function __tavrin_measured
    set -l words (commandline -opc)
    set -l measured $words[(math (contains -i -- -- $words) + 1)..]
    complete -C (string join ' ' -- (string escape -- $measured) (commandline -ct))
end
complete -c tavrin -f
complete -c tavrin -n __tavrin_measures -a '(__tavrin_measured)'
)";

std::string fishQuoted(const std::string& text) {
  std::string out = "'";
  for (const char letter : text) {
    if (letter == '\'' || letter == '\\') out += '\\';
    out += letter;
  }
  return out + "'";
}

/// What completes the value of a parameter, as switches of `complete`.
std::string valuesOf(const Parameter& parameter) {
  std::string words = joined(parameter.choices);
  switch (parameter.values) {
    case Values::None:
      return {};
    case Values::Any:
      return " -x";
    case Values::Files:
      return " -r -F";
    case Values::Folders:
      return " -x -a '(__fish_complete_directories)'";
    case Values::Choices:
      break;
    case Values::Writers:
      words += " (__tavrin_names writers)";
      break;
    case Values::Features:
      words += " (__tavrin_names features)";
      break;
  }
  return " -x -a " + fishQuoted(parameter.isList ? "(__tavrin_list " + words + ")" : words);
}

std::string switchesOf(const Parameter& option) {
  std::string text;
  for (const std::string& name : option.names) {
    const bool isLong = name.starts_with("--");
    text += (isLong ? " -l " : " -s ") + name.substr(isLong ? 2 : 1);
  }
  return text + valuesOf(option) + " -d " + fishQuoted(option.help) + "\n";
}

std::string fishLinesOf(const CommandSyntax& command) {
  const std::string start =
      "complete -c tavrin -n '__fish_seen_subcommand_from " + command.name + "'";
  std::string text = "complete -c tavrin -n __fish_use_subcommand -a " + command.name + " -d " +
                     fishQuoted(command.help) + "\n";
  for (const Parameter& option : command.options) text += start + switchesOf(option);
  for (const Parameter& argument : command.arguments) {
    if (argument.values == Values::Files) text += start + " -F\n";
    if (argument.values == Values::Folders) text += start + " -a '(__fish_complete_directories)'\n";
    if (argument.values == Values::Choices) {
      text += start + " -a " + fishQuoted(joined(argument.choices)) + "\n";
    }
  }
  return text;
}

}  // namespace

std::string fishCompletion(const CommandSyntax& tool) {
  std::string text = kFishHead;
  for (const Parameter& option : tool.options) {
    text += "complete -c tavrin -n __fish_use_subcommand" + switchesOf(option);
  }
  for (const CommandSyntax& command : tool.commands) text += fishLinesOf(command);
  return text;
}

}  // namespace tavrin
