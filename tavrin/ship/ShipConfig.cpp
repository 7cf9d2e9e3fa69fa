#include "tavrin/ship/ShipConfig.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#define TOML_EXCEPTIONS 1
#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

/// The parser calls itself for each part of a name, which a longer text could have too many of.
constexpr off_t kMostConfig = 64'000;
constexpr mode_t kOfOthers = S_IRWXG | S_IRWXO;

[[noreturn]] void refuseConfig(const std::string& path, const toml::source_position& place,
                               const std::string& cause) {
  throw CommandError(kExitUsage, path + ":" + std::to_string(place.line) + ": " + cause);
}

std::string base64(std::string_view bytes) {
  constexpr const char* kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const auto byte = [&](std::size_t i) -> std::uint32_t {
      return at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0U;
    };
    const std::uint32_t group = byte(0) << 16U | byte(1) << 8U | byte(2);
    for (unsigned int i = 0; i < 4; ++i) {
      const bool isThere = at + i <= bytes.size();
      text += isThere ? kLetters[group >> (18U - 6U * i) & 63U] : '=';
    }
  }
  return text;
}

/// One entry as it stands in the file.
struct Entry {
  std::string url;
  std::string user;
  std::string password;
  std::string bearer;
  std::string token;
  std::string caFile;
};

using Member = std::pair<std::string_view, std::string Entry::*>;
constexpr std::array<Member, 6> kMembers{{{"url", &Entry::url},
                                          {"user", &Entry::user},
                                          {"password", &Entry::password},
                                          {"bearer", &Entry::bearer},
                                          {"token", &Entry::token},
                                          {"ca-file", &Entry::caFile}}};

bool hasControls(const std::string& text) {
  return std::ranges::any_of(text, [](char letter) {
    return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F;
  });
}

Entry entryOf(const std::string& path, const toml::node& node) {
  const auto begin = node.source().begin;
  const auto* const table = node.as_table();
  if (table == nullptr) refuseConfig(path, begin, "'to' must be an array of tables: [[to]]");
  Entry entry;
  for (const auto& [key, value] : *table) {
    const auto* const known = std::ranges::find(kMembers, key.str(), &Member::first);
    const auto place = value.source().begin;
    if (known == kMembers.end()) {
      refuseConfig(path, place,
                   "unknown entry '" + escaped(key.str()) +
                       "' (known: url, user, password, bearer, token, ca-file)");
    }
    const auto* const text = value.as_string();
    if (text == nullptr) refuseConfig(path, place, escaped(key.str()) + " must be a string");
    if (hasControls(text->get())) {
      refuseConfig(path, place, escaped(key.str()) + " has control characters");
    }
    entry.*known->second = text->get();
  }
  if (entry.url.empty()) refuseConfig(path, begin, "[[to]] needs a url");
  const int ways = int{!entry.user.empty() || !entry.password.empty()} +
                   int{!entry.bearer.empty()} + int{!entry.token.empty()};
  if (ways > 1) refuseConfig(path, begin, "give either user and password, or bearer, or token");
  return entry;
}

Endpoint endpointOfEntry(const Entry& entry, const std::string& place) {
  Endpoint endpoint = endpointOf(entry.url, place);
  endpoint.caFile = entry.caFile;
  const auto secret = [&endpoint](const std::string& text) {
    if (!text.empty()) endpoint.secrets.push_back(text);
  };
  for (const std::string* text : {&entry.password, &entry.bearer, &entry.token}) secret(*text);
  if (!entry.user.empty() || !entry.password.empty()) {
    const std::string both = base64(entry.user + ":" + entry.password);
    endpoint.authorization = "Basic " + both;
    secret(both);
  } else if (!entry.bearer.empty()) {
    endpoint.authorization = "Bearer " + entry.bearer;
  } else if (!entry.token.empty()) {
    endpoint.authorization = "Token " + entry.token;
  }
  return endpoint;
}

std::vector<std::string> usualPlaces() {
  std::vector<std::string> places;
  const char* const config = std::getenv("XDG_CONFIG_HOME");
  const char* const home = std::getenv("HOME");
  if (config != nullptr && *config == '/') {
    places.push_back(std::string(config) + "/tavrin/ship.toml");
  } else if (home != nullptr && *home != '\0') {
    places.push_back(std::string(home) + "/.config/tavrin/ship.toml");
  }
  places.emplace_back("/etc/tavrin/ship.toml");
  return places;
}

/// Throws CommandError unless the file is the user's own, or the system's, and closed to others.
void refuseOpenConfig(const std::string& path, const struct stat& status) {
  if ((status.st_mode & kOfOthers) != 0) {
    throw CommandError(kExitUsage, path +
                                       ": others than its owner may read or change it, and it "
                                       "has a secret (chmod 600 closes it)");
  }
  if (status.st_uid != geteuid() && status.st_uid != 0) {
    throw CommandError(kExitUsage, path + ": it has a secret, and belongs to another user");
  }
}

std::string contentOf(const std::string& path, int file, const struct stat& status) {
  if (!S_ISREG(status.st_mode) || status.st_size > kMostConfig) {
    throw CommandError(kExitUsage, path + ": this is no configuration file");
  }
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  const ssize_t count = read(file, text.data(), text.size());
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return text;
}

}  // namespace

ShipConfig::ShipConfig(const std::string& path) {
  const std::vector<std::string> places =
      path.empty() ? usualPlaces() : std::vector<std::string>{path};
  for (const std::string& place : places) {
    const int file = open(place.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file >= 0) {
      load(place, file);
      return;
    }
    const std::string cause = place + ": " + std::strerror(errno);
    if (!path.empty()) throw CommandError(kExitUsage, cause);
    if (errno != ENOENT && errno != ENOTDIR) warn(cause + "; going on without it");
  }
}

void ShipConfig::load(const std::string& path, int file) {
  struct Closer {
    int file;
    ~Closer() { close(file); }
  };
  const Closer closer{file};
  struct stat status {};
  fstat(file, &status);
  toml::table root;
  try {
    root = toml::parse(contentOf(path, file, status), path);
  } catch (const toml::parse_error& fault) {
    // Its own description may repeat a piece of a secret.
    refuseConfig(path, fault.source().begin, "this is not TOML (texts stand in double quotes)");
  }
  for (const auto& [key, value] : root) {
    if (key.str() != "to" || !value.is_array()) {
      refuseConfig(path, value.source().begin,
                   "unknown entry '" + escaped(key.str()) + "' (known: [[to]])");
    }
    for (const toml::node& node : *value.as_array()) {
      const std::string place = path + ":" + std::to_string(node.source().begin.line);
      entries_.push_back(endpointOfEntry(entryOf(path, node), place));
    }
  }
  const auto hasSecret = [](const Endpoint& entry) { return !entry.secrets.empty(); };
  if (std::ranges::any_of(entries_, hasSecret)) refuseOpenConfig(path, status);
}

const Endpoint* ShipConfig::find(const Endpoint& wanted) const {
  auto found = std::ranges::find(entries_, wanted.url, &Endpoint::url);
  if (found == entries_.end())
    found = std::ranges::find(entries_, wanted.server, &Endpoint::server);
  return found == entries_.end() ? nullptr : &*found;
}

std::vector<Endpoint> ShipConfig::endpoints(const std::vector<std::string>& urls) const {
  std::vector<Endpoint> wanted;
  for (const std::string& url : urls) {
    Endpoint endpoint = endpointOf(url, "--to");
    if (const Endpoint* const entry = find(endpoint)) {
      endpoint.authorization = entry->authorization;
      endpoint.secrets = entry->secrets;
      endpoint.caFile = entry->caFile;
    }
    wanted.push_back(std::move(endpoint));
  }
  if (urls.empty()) wanted = entries_;
  if (wanted.empty()) {
    throw CommandError(kExitUsage,
                       "no place to send to: give --to URL, or [[to]] in the configuration file");
  }
  for (auto one = wanted.begin(); one != wanted.end(); ++one) {
    const auto same = std::find_if(one + 1, wanted.end(),
                                   [&](const Endpoint& other) { return other.url == one->url; });
    if (same != wanted.end()) throw CommandError(kExitUsage, one->name + " is named twice");
    if (one->authorization.empty() || one->server.starts_with("https:") || isLoopback(*one))
      continue;
    warn(one->name + ": the credentials go over the network in the clear; use https");
  }
  return wanted;
}

}  // namespace tavrin
