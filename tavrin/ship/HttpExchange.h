#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "tavrin/ship/Answer.h"
#include "tavrin/ship/Endpoint.h"
#include "tavrin/ship/Transfers.h"

namespace tavrin {

/// One request after the other to one endpoint, over a connection that is kept, and that others who
/// send to the same server do not use. Servers prove who they are (TLS); redirects are not
/// followed.
class HttpExchange {
 public:
  using Clock = Transfers::Clock;

  /// A request is overdue when nothing has been sent for `patience`, or the answer is not complete
  /// so long after all was sent.
  HttpExchange(Transfers& transfers, const Endpoint& endpoint, Clock::duration patience);
  ~HttpExchange();
  HttpExchange(const HttpExchange&) = delete;
  HttpExchange& operator=(const HttpExchange&) = delete;

  // Only one request at a time. A body has to stay until the request has ended.

  /// Posts a body that is packed by gzip to the endpoint.
  void post(std::string_view body);
  /// Asks for another page of the server ("/flags"), with less patience.
  void get(const std::string& page);

  bool isUnderWay() const { return isUnderWay_; }
  bool isHandle(const CURL* handle) const { return handle == easy_.get(); }
  bool isOverdue(Clock::time_point now);
  /// Takes the ended request, as `Transfers` has told of it.
  Answer finish(CURLcode result);
  /// Gives up the request.
  Answer abandon(const std::string& reason);

 private:
  void start(const std::string& url, Clock::duration patience);
  Answer answerSoFar() const;
  void stop();
  static std::size_t takeHeader(char* bytes, std::size_t one, std::size_t size, void* exchange);
  static std::size_t takeBody(char* bytes, std::size_t one, std::size_t size, void* exchange);
  void noteHeader(std::string_view line);

  Transfers& transfers_;
  const Endpoint& endpoint_;
  const Clock::duration patience_;
  std::unique_ptr<CURLSH, decltype(&curl_share_cleanup)> connections_;  ///< its own ones only
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy_;
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_;
  std::array<char, CURL_ERROR_SIZE> error_{};
  Answer answer_;
  Clock::duration allowed_{};  ///< for the request that is under way
  Clock::time_point moved_;
  curl_off_t sent_ = 0;
  bool isUnderWay_ = false;
  bool isTooLong_ = false;
};

}  // namespace tavrin
