#pragma once

#include <string>

namespace tavrin {

/// Where a server waits for connections.
struct ListenAddress {
  std::string host;       ///< a numeric address; one of IPv6 in brackets
  unsigned int port = 0;  ///< 0: any that is free
  bool isIPv6 = false;
  bool isLoopback = false;  ///< reached from this machine only

  /// "127.0.0.1:9464", "[::1]:9464"
  std::string text() const { return host + ":" + std::to_string(port); }
};

/// Reads such a text. Throws CommandError where it is none.
ListenAddress parseListenAddress(const std::string& text);

}  // namespace tavrin
