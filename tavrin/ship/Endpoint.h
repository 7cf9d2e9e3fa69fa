#pragma once

#include <string>
#include <vector>

namespace tavrin {

/// Where lines are posted to, and what is needed there.
struct Endpoint {
  std::string url;                   ///< as requested, with the precision of times
  std::string name;                  ///< for people: without the query
  std::string server;                ///< scheme, host and port: "http://host:8086"
  std::string authorization;         ///< value of the header; "" for none
  std::vector<std::string> secrets;  ///< that must never be shown
  std::string caFile;                ///< "" for the system's
};

/// The endpoint of a URL. Throws CommandError for what is none, and for one with a password in it,
/// which is not repeated then. `place` tells where it stands ("--to").
Endpoint endpointOf(const std::string& url, const std::string& place);

/// Whether the server is this machine itself.
bool isLoopback(const Endpoint& endpoint);

/// The text without the secrets of the endpoint.
std::string withoutSecrets(std::string text, const Endpoint& endpoint);

}  // namespace tavrin
