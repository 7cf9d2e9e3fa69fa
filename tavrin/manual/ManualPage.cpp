#include <algorithm>
#include <cctype>
#include <string_view>

#include "hostcommon/Version.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/manual/CommandSyntax.h"

namespace tavrin {

namespace {

/// A text as troff reads it. Dashes are those of options, not of words.
std::string troff(std::string_view text) {
  std::string out;
  if (text.starts_with('.') || text.starts_with('\'')) out = "\\&";
  for (const char letter : text) {
    switch (letter) {
      case '\\':
        out += "\\e";
        break;
      case '-':
        out += "\\-";
        break;
      case '\'':
        out += "\\(aq";
        break;
      case '^':
        out += "\\(ha";
        break;
      case '~':
        out += "\\(ti";
        break;
      default:
        out += letter;
    }
  }
  return out;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

/// The texts of the help below the options, as sections: what is set in is printed as it stands,
/// and a paragraph that begins with the name of a section opens that.
class Sections {
 public:
  explicit Sections(const std::string& text) {
    for (const std::string& line : linesOf(text)) take(line);
    closeExample();
  }

  const std::string& description() const { return texts_[0]; }
  /// All but the description.
  std::string others() const {
    std::string all;
    for (std::size_t n = 1; n < std::size(kNames); ++n) {
      if (!texts_[n].empty()) all.append(".SH ").append(kNames[n].heading).append("\n" + texts_[n]);
    }
    return all;
  }

 private:
  struct Name {
    std::string_view start;
    std::string_view heading;
  };
  static constexpr Name kNames[] = {{"", "DESCRIPTION"},
                                    {"Exit status:", "EXIT STATUS"},
                                    {"Environment:", "ENVIRONMENT"},
                                    {"Examples:", "EXAMPLES"}};

  std::string& current() { return texts_[section_]; }

  void take(std::string_view line) {
    if (line.empty()) {
      closeExample();
      section_ = 0;
      isParagraphOpen_ = false;
      return;
    }
    if (line.starts_with("  ")) {
      if (!isExample_) current() += current().empty() ? ".RS 4\n.EX\n" : ".PP\n.RS 4\n.EX\n";
      isExample_ = true;
      current() += troff(line.substr(2)) + "\n";
      return;
    }
    closeExample();
    for (std::size_t n = 1; n < std::size(kNames) && !isParagraphOpen_; ++n) {
      if (!line.starts_with(kNames[n].start)) continue;
      section_ = n;
      line.remove_prefix(std::min(line.size(), kNames[n].start.size() + 1));
    }
    if (line.empty()) return;
    if (!isParagraphOpen_ && !current().empty()) current() += ".PP\n";
    isParagraphOpen_ = true;
    current() += troff(line) + "\n";
  }

  void closeExample() {
    if (!isExample_) return;
    current() += ".EE\n.RE\n";
    isExample_ = false;
    isParagraphOpen_ = false;
  }

  std::string texts_[std::size(kNames)];
  std::size_t section_ = 0;
  bool isExample_ = false;
  bool isParagraphOpen_ = false;
};

/// The first line of `help`, as a clause of a sentence.
std::string clause(const std::string& help) {
  std::string text = help.substr(0, help.find('\n'));
  if (text.ends_with('.')) text.pop_back();
  return text;
}

std::string head(const CommandSyntax& command, const std::string& name) {
  std::string title = name;
  std::ranges::transform(title, title.begin(), [](unsigned char c) { return std::toupper(c); });
  return ".TH " + troff(title) + " 1 \"\" \"tavrin " + pwr::kVersion +
         "\" \"User Commands\"\n.SH NAME\n" + troff(name) + " \\- " + troff(clause(command.help)) +
         "\n";
}

std::string placeholderOf(const Parameter& parameter) {
  const std::string text = "\\fI" + troff(parameter.placeholder) + "\\fR";
  return parameter.isRequired ? text : "[" + text + "]";
}

std::string synopsis(const CommandSyntax& command) {
  std::string text = ".SH SYNOPSIS\n.B tavrin " + troff(command.name) + "\n[\\fIOPTIONS\\fR]";
  for (const Parameter& argument : command.arguments) text += " " + placeholderOf(argument);
  if (command.name == "record") text += " [\\-\\- \\fICOMMAND ARGS\\fR...]";
  return text + "\n";
}

std::string item(const Parameter& parameter) {
  std::string text = ".TP\n";
  for (const std::string& name : parameter.names) {
    text += (text.ends_with('\n') ? "\\fB" : ", \\fB") + troff(name) + "\\fR";
  }
  if (parameter.names.empty())
    text += "\\fI" + troff(parameter.placeholder) + "\\fR";
  else if (parameter.values != Values::None)
    text += " \\fI" + troff(parameter.placeholder) + "\\fR";
  text += "\n" + troff(parameter.help);
  if (parameter.values == Values::Choices) {
    text += ":";
    for (const std::string& choice : parameter.choices) text += " " + troff(choice);
  }
  if (!parameter.initial.empty()) text += " (default: " + troff(parameter.initial) + ")";
  return text + "\n";
}

std::string items(const std::string& heading, const std::vector<Parameter>& parameters) {
  if (parameters.empty()) return {};
  std::string text = ".SH " + heading + "\n";
  for (const Parameter& parameter : parameters) text += item(parameter);
  return text;
}

std::string toolPage(const CommandSyntax& tool) {
  const Sections sections(tool.help.substr(std::min(tool.help.find('\n') + 1, tool.help.size())));
  std::string text = head(tool, "tavrin") +
                     ".SH SYNOPSIS\n.B tavrin\n\\fICOMMAND\\fR [\\fIOPTIONS\\fR] "
                     "[\\fIARGUMENTS\\fR]\n.SH DESCRIPTION\n" +
                     troff(clause(tool.help)) + ".\n" + sections.description() + ".SH COMMANDS\n";
  std::string others;
  for (const CommandSyntax& command : tool.commands) {
    text += ".TP\n.BR tavrin\\-" + troff(command.name) + " (1)\n" + troff(command.help) + "\n";
    others += (others.empty() ? "" : ",\n") + (".BR tavrin\\-" + troff(command.name)) + " (1)";
  }
  return text + items("OPTIONS", tool.options) + sections.others() + ".SH SEE ALSO\n" + others +
         "\n";
}

std::string commandPage(const CommandSyntax& command) {
  const Sections sections(command.footer);
  return head(command, "tavrin-" + command.name) + synopsis(command) + ".SH DESCRIPTION\n" +
         troff(clause(command.help)) + ".\n" +
         (sections.description().empty() ? "" : ".PP\n" + sections.description()) +
         items("ARGUMENTS", command.arguments) + items("OPTIONS", command.options) +
         sections.others() + ".SH SEE ALSO\n.BR tavrin (1)\n";
}

}  // namespace

std::string manualPage(const CommandSyntax& tool, const std::string& command) {
  if (command.empty()) return toolPage(tool);
  const auto known = std::ranges::find(tool.commands, command, &CommandSyntax::name);
  if (known == tool.commands.end()) {
    throw CommandError(kExitUsage, "there is no command '" + command + "'");
  }
  return commandPage(*known);
}

}  // namespace tavrin
