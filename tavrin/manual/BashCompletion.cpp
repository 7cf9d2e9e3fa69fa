#include "tavrin/common/PlainText.h"
#include "tavrin/manual/CommandSyntax.h"

namespace tavrin {

namespace {

/// `previous` is the option whose value is completed, `current` what there is of it.
constexpr const char* kBashHead = R"(# bash completion of tavrin
_tavrin_names() { tavrin list "$1" 2>/dev/null | sed -n 's/^  \([^ ]*\) .*/\1/p'; }
_tavrin_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current"); }
_tavrin_files() { mapfile -t COMPREPLY < <(compgen -f -- "$current"); compopt -o filenames; }
_tavrin_folders() { mapfile -t COMPREPLY < <(compgen -d -- "$current"); compopt -o filenames; }
_tavrin_list() {
  local start=
  case $current in *,*) start=${current%,*}, ;; esac
  mapfile -t COMPREPLY < <(compgen -P "$start" -W "$1" -- "${current##*,}")
  compopt -o nospace
}
_tavrin_command() {
  if [ "$1" -eq "$COMP_CWORD" ]; then
    mapfile -t COMPREPLY < <(compgen -c -- "$current")
  else
    _tavrin_files
  fi
}
_tavrin() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} n
  COMPREPLY=()
  [ "$current" != = ] || current=
  [ "$previous" != = ] || previous=${COMP_WORDS[COMP_CWORD - 2]}
  if [ "$COMP_CWORD" -gt 1 ] && [ "${COMP_WORDS[COMP_CWORD]}" = = ]; then
    previous=${COMP_WORDS[COMP_CWORD - 1]}
  fi
)";

constexpr const char* kBashFoot = R"(}
complete -F _tavrin tavrin
)";

/// The call that offers the values of a parameter.
std::string bashOffer(const Parameter& parameter) {
  const std::string call = parameter.isList ? "_tavrin_list " : "_tavrin_words ";
  const std::string choices = joined(parameter.choices);
  switch (parameter.values) {
    case Values::Files:
      return "_tavrin_files";
    case Values::Folders:
      return "_tavrin_folders";
    case Values::Choices:
      return call + "'" + choices + "'";
    case Values::Writers:
      return call + "\"" + choices + " $(_tavrin_names writers)\"";
    case Values::Features:
      return call + "\"" + choices + " $(_tavrin_names features)\"";
    case Values::None:
    case Values::Any:
      break;
  }
  return {};
}

std::string namesOf(const std::vector<Parameter>& options) {
  std::string names;
  for (const Parameter& option : options) {
    names += (names.empty() ? "" : " ") + joined(option.names);
  }
  return names;
}

/// What follows the name of a command: values of its options, its options, its arguments.
std::string caseOf(const CommandSyntax& command) {
  std::string text = "    " + command.name + ")\n      case $previous in\n";
  for (const Parameter& option : command.options) {
    if (option.values == Values::None) continue;
    const std::string call = bashOffer(option);
    text += "        " + joined(option.names, " | ") + ") " + (call.empty() ? "" : call + "; ") +
            "return ;;\n";
  }
  text += "      esac\n      case $current in\n        -*) _tavrin_words '" +
          namesOf(command.options) + "' ;;\n";
  if (!command.arguments.empty())
    text += "        *) " + bashOffer(command.arguments.front()) + " ;;\n";
  return text + "      esac\n      ;;\n";
}

}  // namespace

std::string bashCompletion(const CommandSyntax& tool) {
  std::string text = kBashHead;
  std::string names;
  std::string cases;
  for (const CommandSyntax& command : tool.commands) {
    names += command.name + " ";
    cases += caseOf(command);
  }
  text += "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n    _tavrin_words '" + names +
          namesOf(tool.options) + "'\n    return\n  fi\n";
  text +=
      "  if [ \"${COMP_WORDS[1]}\" = record ]; then\n"
      "    for ((n = 2; n < COMP_CWORD; ++n)); do\n"
      "      [ \"${COMP_WORDS[n]}\" != -- ] || { _tavrin_command $((n + 1)); return; }\n"
      "    done\n"
      "  fi\n";
  return text + "  case ${COMP_WORDS[1]} in\n" + cases + "  esac\n" + kBashFoot;
}

}  // namespace tavrin
