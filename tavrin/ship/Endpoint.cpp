#include "tavrin/ship/Endpoint.h"

#include <curl/curl.h>

#include <memory>
#include <string_view>

#include "tavrin/common/CommandError.h"
#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

/// Names in a query that carry what nobody else should read.
constexpr std::string_view kSecretNames[] = {"u", "p", "token", "authKey", "password"};

class Url {
 public:
  explicit Url(const std::string& text) {
    isValid_ = curl_url_set(url_.get(), CURLUPART_URL, text.c_str(), 0) == CURLUE_OK;
  }
  bool isValid() const { return isValid_; }
  /// "" for a part that is not there.
  std::string part(CURLUPart part) const {
    char* text = nullptr;
    if (curl_url_get(url_.get(), part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
    const std::unique_ptr<char, decltype(&curl_free)> owned(text, &curl_free);
    return text;
  }

 private:
  std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url_{curl_url(), &curl_url_cleanup};
  bool isValid_ = false;
};

bool hasName(std::string_view query, std::string_view name) {
  while (!query.empty()) {
    const std::string_view pair = query.substr(0, query.find('&'));
    if (pair.substr(0, pair.find('=')) == name) return true;
    query.remove_prefix(std::min(pair.size() + 1, query.size()));
  }
  return false;
}

void refuseSecrets(const Url& url, const std::string& place) {
  const std::string query = url.part(CURLUPART_QUERY);
  bool hasSecret = !url.part(CURLUPART_USER).empty() || !url.part(CURLUPART_PASSWORD).empty();
  for (const std::string_view name : kSecretNames) hasSecret = hasSecret || hasName(query, name);
  if (!hasSecret) return;
  throw CommandError(kExitUsage,
                     place +
                         ": the URL has a user, password or token in it, which others could see in "
                         "the list of processes and in logs; put it into the configuration file "
                         "(see 'tavrin ship --help')");
}

}  // namespace

Endpoint endpointOf(const std::string& url, const std::string& place) {
  const Url parts(url);
  const std::string scheme = parts.part(CURLUPART_SCHEME);
  if (parts.isValid()) refuseSecrets(parts, place);
  if (!parts.isValid() || (scheme != "http" && scheme != "https")) {
    throw CommandError(kExitUsage, place + ": " +
                                       (url.find_first_of("@?") == std::string::npos
                                            ? "'" + escaped(url) + "' is not a URL"
                                            : std::string("this is not a URL")) +
                                       " such as http://host:8086/write?db=tavrin");
  }
  Endpoint endpoint;
  endpoint.server = scheme + "://" + parts.part(CURLUPART_HOST) + ":" + parts.part(CURLUPART_PORT);
  endpoint.name = endpoint.server + parts.part(CURLUPART_PATH);
  const std::string query = parts.part(CURLUPART_QUERY);
  endpoint.url = endpoint.name + "?" + query;
  if (!hasName(query, "precision")) {
    endpoint.url += query.empty() ? "precision=ns" : "&precision=ns";
  }
  return endpoint;
}

bool isLoopback(const Endpoint& endpoint) {
  const std::string host = Url(endpoint.server).part(CURLUPART_HOST);
  return host == "localhost" || host == "[::1]" || host.starts_with("127.");
}

std::string withoutSecrets(std::string text, const Endpoint& endpoint) {
  for (const std::string& secret : endpoint.secrets) {
    for (std::size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at)) {
      text.replace(at, secret.size(), "***");
      at += 3;
    }
  }
  return text;
}

}  // namespace tavrin
