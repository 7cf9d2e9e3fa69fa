#pragma once

#include <prometheus/collectable.h>

#include <memory>
#include <string>

#include "tavrin/serve/ListenAddress.h"

namespace prometheus {
class Exposer;
}

namespace tavrin {

/// Answers GET /metrics over HTTP, in threads of its own, and nothing else but a hint at /. Few
/// connections are served at a time, each for a few seconds at most, with short requests only; all
/// others wait or are refused.
class MetricsServer {
 public:
  /// Listens from now on. Throws CommandError where that is not possible.
  MetricsServer(const ListenAddress& address, const std::shared_ptr<prometheus::Collectable>& what);
  /// Ends the connections that there are.
  ~MetricsServer();
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;

  /// "http://127.0.0.1:9464/metrics", with the port that was taken.
  const std::string& url() const { return url_; }

 private:
  std::string url_;
  std::unique_ptr<prometheus::Exposer> exposer_;
};

}  // namespace tavrin
