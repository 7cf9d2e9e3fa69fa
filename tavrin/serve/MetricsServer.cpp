#include "tavrin/serve/MetricsServer.h"

#include <CivetServer.h>
#include <civetweb.h>
#include <prometheus/exposer.h>

#include <string_view>
#include <vector>

#include "tavrin/common/CommandError.h"

namespace tavrin {

namespace {

constexpr std::string_view kPath = "/metrics";
constexpr std::string_view kHint = "Tavrin's live values are at /metrics.\n";

/// Why the server cannot be started by this thread. Later messages are about what clients do wrong,
/// which is not worth a line each.
thread_local std::string whyNotStarted;

int noteProblem(const mg_connection* /*connection*/, const char* message) {
  if (whyNotStarted.empty()) whyNotStarted = message;
  return 1;
}

int answer(mg_connection* connection, int status, const char* more, std::string_view text) {
  mg_printf(connection,
            "HTTP/1.1 %d %s\r\nContent-Type: text/plain; charset=utf-8\r\n%s"
            "Content-Length: %zu\r\nConnection: close\r\n\r\n",
            status, mg_get_response_code_text(connection, status), more, text.size());
  mg_write(connection, text.data(), text.size());
  return status;
}

/// Answers all that is not for the metrics' handler, which is told by 0.
int answerOthers(mg_connection* connection) {
  // Also: what a client sends behind its request, however slowly, is not waited for.
  mg_disable_connection_keep_alive(connection);
  const mg_request_info& request = *mg_get_request_info(connection);
  const std::string_view path = request.local_uri == nullptr ? "" : request.local_uri;
  if (path != kPath && path != "/") return answer(connection, 404, "", "Not found.\n");
  if (std::string_view(request.request_method) != "GET") {
    return answer(connection, 405, "Allow: GET\r\n", "Only GET is answered.\n");
  }
  return path == kPath ? 0 : answer(connection, 200, "", kHint);
}

std::vector<std::string> serverOptions(const ListenAddress& address) {
  // Who holds connections open without asking holds up others: there are many, for a short time.
  return {"listening_ports",    address.text(),
          "num_threads",        "32",    // connections served at a time
          "connection_queue",   "16",    // that wait for those
          "listen_backlog",     "32",    // that wait for that; more of them are not answered
          "request_timeout_ms", "2000",  // to send a request, or to take a piece of the answer
          "max_request_size",   "8192",  // headers
          "enable_keep_alive",  "no"};
}

std::unique_ptr<prometheus::Exposer> listenOn(const ListenAddress& address) {
  if (address.isIPv6 && mg_check_feature(MG_FEATURES_IPV6) == 0) {
    throw CommandError(kExitIncomplete,
                       "cannot listen on " + address.text() +
                           ": the HTTP server (civetweb) of this system was built without IPv6");
  }
  CivetCallbacks callbacks;
  callbacks.log_message = noteProblem;
  callbacks.begin_request = answerOthers;
  whyNotStarted.clear();
  try {
    return std::make_unique<prometheus::Exposer>(serverOptions(address), &callbacks);
  } catch (const CivetException& error) {
    const std::string why = whyNotStarted.empty() ? error.what() : whyNotStarted;
    throw CommandError(kExitIncomplete, "cannot listen on " + address.text() + ": " + why);
  }
}

}  // namespace

MetricsServer::MetricsServer(const ListenAddress& address,
                             const std::shared_ptr<prometheus::Collectable>& what)
    : exposer_(listenOn(address)) {
  exposer_->RegisterCollectable(what, std::string(kPath));
  ListenAddress taken = address;
  taken.port = static_cast<unsigned int>(exposer_->GetListeningPorts().front());
  url_ = "http://" + taken.text() + std::string(kPath);
}

MetricsServer::~MetricsServer() = default;

}  // namespace tavrin
