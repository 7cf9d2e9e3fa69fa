#include "hostcommon/OutputConfigFile.h"

#include <cerrno>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <vector>

#define TOML_EXCEPTIONS 1
#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

#include "hostcommon/Platform.h"
#include "writers/host/WriterInterfaceConfigFileParser.h"

namespace {

/// The parser calls itself for each part of a name, which a longer text could have too many of.
constexpr std::size_t kMostConfigBytes = 64'000;

struct FeatureEntry {
  std::string name;
  std::deque<std::string> metrics;
};

struct OutputConfig {
  bool loaded = false;
  bool hasFeatureOrder = false;
  std::deque<std::string> featureOrder;
  std::vector<FeatureEntry> features;
};

OutputConfig& config() {
  static OutputConfig current;
  return current;
}

/// A fault in the contents, with the place to blame.
struct ConfigError {
  unsigned int line;
  std::string cause;
};

[[noreturn]] void fail(const toml::node& place, const std::string& cause) {
  throw ConfigError{place.source().begin.line, cause};
}

const std::string& textOf(const toml::node& node, const std::string& what) {
  const auto* text = node.as_string();
  if (text == nullptr) fail(node, what + " must be a string");
  return text->get();
}

std::deque<std::string> textsOf(const toml::node& node, const std::string& what) {
  const auto* array = node.as_array();
  if (array == nullptr) fail(node, what + " must be an array of strings");
  std::deque<std::string> texts;
  for (const toml::node& element : *array) texts.push_back(textOf(element, "each of " + what));
  return texts;
}

FeatureEntry featureOf(const toml::node& node) {
  const auto* table = node.as_table();
  if (table == nullptr) fail(node, "feature must be an array of tables: [[feature]]");
  FeatureEntry entry;
  for (const auto& [key, value] : *table) {
    if (key.str() == "name") {
      entry.name = textOf(value, "name");
    } else if (key.str() == "metrics") {
      entry.metrics = textsOf(value, "metrics");
    } else {
      fail(value,
           "unknown entry '" + std::string(key.str()) + "' in [[feature]] (known: name, metrics)");
    }
  }
  if (entry.name.empty()) fail(node, "a [[feature]] needs a name");
  return entry;
}

std::vector<FeatureEntry> featuresOf(const toml::node& node) {
  const auto* array = node.as_array();
  if (array == nullptr) fail(node, "feature must be an array of tables: [[feature]]");
  std::vector<FeatureEntry> features;
  std::map<std::string, unsigned int> lines;
  for (const toml::node& element : *array) {
    FeatureEntry entry = featureOf(element);
    const auto [first, isNew] = lines.try_emplace(entry.name, element.source().begin.line);
    if (!isNew) {
      fail(element, "a second [[feature]] with the name '" + entry.name +
                        "' (the first one: line " + std::to_string(first->second) + ")");
    }
    features.push_back(std::move(entry));
  }
  return features;
}

OutputConfig configOf(const toml::table& root) {
  OutputConfig result;
  result.loaded = true;
  for (const auto& [key, value] : root) {
    if (key.str() == "feature-order") {
      result.hasFeatureOrder = true;
      result.featureOrder = textsOf(value, "feature-order");
    } else if (key.str() == "feature") {
      result.features = featuresOf(value);
    } else {
      fail(value, "unknown entry '" + std::string(key.str()) + "' (known: feature-order, feature)");
    }
  }
  return result;
}

/// Reads a file up to what is too much for one; false with errno set when that fails.
bool readFile(const std::string& path, std::string& text) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(pwr::platform::openFile(path.c_str(), "rb"),
                                                   std::fclose);
  if (!file) return false;
  char chunk[4096];
  while (const std::size_t count = std::fread(chunk, 1, sizeof chunk, file.get())) {
    text.append(chunk, count);
    if (text.size() > kMostConfigBytes) return true;
  }
  return std::ferror(file.get()) == 0;
}

}  // namespace

namespace pwr {

int loadOutputConfigFile(const std::string& path, std::string& error) {
  std::string text;
  if (!readFile(path, text)) {
    error = path + ": " + platform::errorText(errno);
    return 1;
  }
  if (text.size() > kMostConfigBytes) {
    error = path + ": this is no configuration file";
    return 1;
  }
  const auto blame = [&](unsigned int line, std::string_view cause) {
    error = path + ":" + std::to_string(line) + ": " + std::string(cause);
    return 1;
  };
  try {
    config() = configOf(toml::parse(text, path));
    return 0;
  } catch (const toml::parse_error& fault) {
    return blame(fault.source().begin.line, fault.description());
  } catch (const ConfigError& fault) {
    return blame(fault.line, fault.cause);
  }
}

void unloadOutputConfigFile() {
  config() = OutputConfig();
}

}  // namespace pwr

WriterInterfaceConfigFileParser* WriterInterfaceConfigFileParser::instance() {
  static WriterInterfaceConfigFileParser parser;
  return &parser;
}

bool WriterInterfaceConfigFileParser::getFeatureOrder(std::deque<std::string>& features) const {
  if (config().loaded && !config().hasFeatureOrder) return false;
  features = config().featureOrder;
  return true;
}

bool WriterInterfaceConfigFileParser::getMetricOrderForFeature(std::deque<std::string>& metrics,
                                                               const std::string& feature) const {
  for (const FeatureEntry& entry : config().features) {
    if (entry.name == feature) {
      metrics = entry.metrics;
      return true;
    }
  }
  return false;
}

bool WriterInterfaceConfigFileParser::getAllFeaturePrefixes(
    std::deque<std::string>& prefixes) const {
  if (config().loaded && config().features.empty()) return false;
  prefixes.clear();
  for (const FeatureEntry& entry : config().features) prefixes.push_back(entry.name);
  return true;
}
