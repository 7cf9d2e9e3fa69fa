#include "tavrin/RecordConfig.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

#define TOML_EXCEPTIONS 1
#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

#include "hostcommon/Platform.h"
#include "hostcommon/Utf8Path.h"
#include "tavrin/UsageError.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

/// The parser calls itself for each part of a name, of which so many letters may have half as many.
constexpr std::size_t kMostConfigBytes = 20'000;

/// What concerns the call, not the recording.
constexpr std::array<std::string_view, 3> kNoKeys{"config", "check", "help"};

[[noreturn]] void refuseAt(const std::string& place, const std::string& cause) {
  throw CommandError(kExitUsage, place + ": " + cause);
}

std::string textOfConfig(const std::string& path) {
  // A pipe would be read once, and not again when it is asked for.
  std::error_code error;
  if (std::filesystem::is_other(pwr::pathFromUtf8(path), error)) {
    refuseAt(path, "this is no configuration file");
  }
  const std::unique_ptr<FILE, int (*)(FILE*)> file(pwr::platform::openFile(path.c_str(), "rb"),
                                                   std::fclose);
  if (file == nullptr) refuseAt(path, pwr::platform::errorText(errno));
  std::string text(kMostConfigBytes + 1, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  if (std::ferror(file.get()) != 0) refuseAt(path, pwr::platform::errorText(errno));
  if (text.size() > kMostConfigBytes) refuseAt(path, "this is no configuration file");
  return text;
}

bool isKey(std::string_view name) {
  return std::ranges::count(kNoKeys, name) == 0;
}

std::vector<std::string> keysOf(const CLI::App& command) {
  std::vector<std::string> keys;
  for (const CLI::Option* option : command.get_options()) {
    std::ranges::copy_if(option->get_lnames(), std::back_inserter(keys), isKey);
  }
  return keys;
}

/// An option as the file has it.
struct ConfiguredOption {
  std::string name;                    ///< "--interval"
  std::vector<std::string> arguments;  ///< as they would stand on the command line
  std::string place;                   ///< "FILE:LINE"
};

/// One file at work. Types are checked, values are not.
class Reading {
 public:
  Reading(const std::string& path, const CLI::App& command) : path_(path), command_(command) {}

  ConfiguredOption option(const std::string& key, const toml::node& node) const;

 private:
  std::string placeOf(const toml::node& node) const {
    return path_ + ":" + std::to_string(node.source().begin.line);
  }
  std::string valueOf(const std::string& key, const toml::node& node) const;

  const std::string& path_;
  const CLI::App& command_;
};

ConfiguredOption Reading::option(const std::string& key, const toml::node& node) const {
  ConfiguredOption result{.name = "--" + key, .arguments = {}, .place = placeOf(node)};
  const CLI::Option* const known = isKey(key) ? command_.get_option_no_throw(result.name) : nullptr;
  if (known == nullptr) {
    refuseAt(result.place,
             "unknown entry '" + escaped(key) + "'" + nameHint(key, keysOf(command_)));
  }
  if (known->get_items_expected_max() == 0) {
    const auto* const flag = node.as_boolean();
    if (flag == nullptr) refuseAt(result.place, key + " must be true or false");
    if (flag->get()) result.arguments.push_back(result.name);
    return result;
  }
  const auto* const list = node.as_array();
  if (list == nullptr) {
    result.arguments.push_back(result.name + "=" + valueOf(key, node));
    return result;
  }
  if (known->get_expected_max() == 1) refuseAt(result.place, key + " has one value, not a list");
  if (list->empty()) refuseAt(result.place, key + " has no value");
  for (const toml::node& value : *list) {
    result.arguments.push_back(result.name + "=" + valueOf(key, value));
  }
  return result;
}

std::string Reading::valueOf(const std::string& key, const toml::node& node) const {
  if (const auto* const text = node.as_string()) {
    if (text->get().find('\0') != std::string::npos) {
      refuseAt(placeOf(node), key + " has a character that cannot be in a text: 0");
    }
    return text->get();
  }
  if (const auto* const number = node.as_integer()) return std::to_string(number->get());
  if (const auto* const number = node.as_floating_point()) return plainNumber(number->get());
  refuseAt(placeOf(node), key + " must be a text in double quotes or a number");
}

std::vector<ConfiguredOption> readRecordConfig(const std::string& path, const CLI::App& command) {
  std::vector<ConfiguredOption> options;
  try {
    const Reading reading(path, command);
    for (const auto& [key, value] : toml::parse(textOfConfig(path), path)) {
      options.push_back(reading.option(std::string(key.str()), value));
    }
  } catch (const toml::parse_error& fault) {
    refuseAt(path + ":" + std::to_string(fault.source().begin.line),
             std::string(fault.description()));
  }
  return options;
}

void parseAll(CLI::App& app, const std::vector<std::string>& arguments) {
  std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
  app.parse(reversed);  // takes them from the end
}

/// Whether an option lacks another one is seen when all are there.
void parseSome(CLI::App& app, const std::vector<std::string>& arguments) {
  try {
    parseAll(app, arguments);
  } catch (const CLI::RequiresError&) {
  } catch (const CLI::ExcludesError&) {
  }
}

/// Checks the value by the option's own validators.
void requireValue(CLI::App& app, const ConfiguredOption& option) {
  std::vector<std::string> alone = option.arguments;
  alone.insert(alone.begin(), "record");
  try {
    parseSome(app, alone);
  } catch (const CLI::ParseError& error) {
    refuseAt(option.place, error.what());
  }
}

}  // namespace

void parseArguments(CLI::App& app, Options& options, std::vector<std::string> arguments) {
  const CLI::App& record = *app.get_subcommand("record");
  const Options defaults = options;
  parseSome(app, arguments);
  if (!options.config.empty()) {
    const std::vector<ConfiguredOption> configured = readRecordConfig(options.config, record);
    for (const ConfiguredOption& option : configured) {
      if (record.count(option.name) > 0) continue;  // the command line wins
      const auto& words = option.arguments;
      arguments.insert(arguments.end(), words.begin(), words.end());
    }
    for (const ConfiguredOption& option : configured) requireValue(app, option);
  }
  options = defaults;
  parseAll(app, arguments);
}

}  // namespace tavrin
