#include "tavrin/serve/ListenAddress.h"

#include <arpa/inet.h>

#include <charconv>
#include <limits>

#include "tavrin/common/CommandError.h"

namespace tavrin {

namespace {

/// Takes the host, which stands before the last colon, apart. False when it is no numeric address.
bool readHost(const std::string& host, ListenAddress& address) {
  in_addr four{};
  in6_addr six{};
  address.host = host;
  if (inet_pton(AF_INET, host.c_str(), &four) == 1) {
    address.isLoopback = ntohl(four.s_addr) >> 24 == 127;
    return true;
  }
  address.isIPv6 = true;
  if (!host.starts_with('[') || !host.ends_with(']')) return false;
  if (inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &six) != 1) return false;
  address.isLoopback = IN6_IS_ADDR_LOOPBACK(&six);
  return true;
}

bool readPort(const std::string& text, unsigned int& port) {
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, port);
  return error == std::errc() && rest == end && port <= std::numeric_limits<in_port_t>::max();
}

}  // namespace

ListenAddress parseListenAddress(const std::string& text) {
  ListenAddress address;
  const std::size_t colon = text.rfind(':');
  const bool isSound = colon != std::string::npos && readHost(text.substr(0, colon), address) &&
                       readPort(text.substr(colon + 1), address.port);
  if (isSound) return address;
  throw CommandError(kExitUsage, "'" + text +
                                     "' is not an address to listen on, such as 127.0.0.1:9464, "
                                     "0.0.0.0:9464 or [::1]:9464");
}

}  // namespace tavrin
