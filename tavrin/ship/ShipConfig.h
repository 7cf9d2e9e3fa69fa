#pragma once

#include <string>
#include <vector>

#include "tavrin/ship/Endpoint.h"

namespace tavrin {

/// The configuration of shipping: the places to send to, with what is secret about them.
///
///     [[to]]
///     url = "https://engine.example:8428/write"
///     user = "fleet"
///     password = "..."        # or: bearer = "..."   or: token = "..."
///     ca-file = "/etc/tavrin/ca.pem"
class ShipConfig {
 public:
  /// Reads the file, or where `path` is "" the first that is there of
  /// $XDG_CONFIG_HOME/tavrin/ship.toml (~/.config/tavrin/ship.toml) and /etc/tavrin/ship.toml.
  /// Throws CommandError for a fault, with its place, and for a file with a secret that others than
  /// the user may read.
  explicit ShipConfig(const std::string& path);

  /// The places that `urls` name, or without any of them those of the file. An entry is used for
  /// its URL, else for all URLs of its server. Throws CommandError for no place at all, for one
  /// that is named twice, and as `endpointOf` does.
  std::vector<Endpoint> endpoints(const std::vector<std::string>& urls) const;

 private:
  void load(const std::string& path, int file);
  const Endpoint* find(const Endpoint& wanted) const;

  std::vector<Endpoint> entries_;
};

}  // namespace tavrin
