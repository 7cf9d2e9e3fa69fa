#include "tavrin/ship/HttpExchange.h"

#include <algorithm>
#include <new>

#include "hostcommon/Version.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr std::size_t kMostWords = 65536;  // of an answer
constexpr std::chrono::milliseconds kConnectTime{10'000};
constexpr std::chrono::seconds kPagePatience{5};

curl_slist* with(curl_slist* list, const std::string& line) {
  curl_slist* const longer = curl_slist_append(list, line.c_str());
  if (longer == nullptr) throw std::bad_alloc();
  return longer;
}

curl_slist* headersOf(const Endpoint& endpoint) {
  curl_slist* list = with(nullptr, "Content-Type: text/plain; charset=utf-8");
  list = with(list, "Content-Encoding: gzip");
  list = with(list, "Expect:");  // no wait for a first answer
  if (!endpoint.authorization.empty()) {
    list = with(list, "Authorization: " + endpoint.authorization);
  }
  return list;
}

bool isSameLetter(char one, char other) {
  const auto small = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return small(one) == small(other);
}

/// The value of the header if it has this name.
std::optional<std::string_view> valueOf(std::string_view line, std::string_view name) {
  if (line.size() <= name.size() || line[name.size()] != ':') return {};
  if (!std::ranges::equal(line.substr(0, name.size()), name, isSameLetter)) return {};
  return trimmed(line.substr(name.size() + 1));
}

}  // namespace

HttpExchange::HttpExchange(Transfers& transfers, const Endpoint& endpoint, Clock::duration patience)
    : transfers_(transfers),
      endpoint_(endpoint),
      patience_(patience),
      connections_(curl_share_init(), &curl_share_cleanup),
      easy_(curl_easy_init(), &curl_easy_cleanup),
      headers_(headersOf(endpoint), &curl_slist_free_all) {
  CURL* const easy = easy_.get();
  if (easy == nullptr || connections_ == nullptr) throw std::bad_alloc();
  curl_share_setopt(connections_.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
  curl_easy_setopt(easy, CURLOPT_SHARE, connections_.get());
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(patience);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);  // no wait for a slow resolver
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!endpoint.caFile.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, endpoint.caFile.c_str());
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS,
                   static_cast<long>(std::min(milliseconds, kConnectTime).count()));
  curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(easy, CURLOPT_USERAGENT, (std::string("tavrin/") + pwr::kVersion).c_str());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers_.get());
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, error_.data());
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, takeHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, takeBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
}

HttpExchange::~HttpExchange() {
  stop();
}

void HttpExchange::post(std::string_view body) {
  curl_easy_setopt(easy_.get(), CURLOPT_POST, 1L);
  curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDS, body.data());
  start(endpoint_.url, patience_);
}

void HttpExchange::get(const std::string& page) {
  curl_easy_setopt(easy_.get(), CURLOPT_HTTPGET, 1L);
  start(endpoint_.server + page, std::min<Clock::duration>(patience_, kPagePatience));
}

void HttpExchange::start(const std::string& url, Clock::duration patience) {
  allowed_ = patience;
  answer_ = {};
  error_.front() = '\0';
  sent_ = 0;
  isTooLong_ = false;
  moved_ = Clock::now();
  curl_easy_setopt(easy_.get(), CURLOPT_URL, url.c_str());
  if (curl_multi_add_handle(transfers_.handle(), easy_.get()) != CURLM_OK) throw std::bad_alloc();
  isUnderWay_ = true;
}

void HttpExchange::stop() {
  if (isUnderWay_) curl_multi_remove_handle(transfers_.handle(), easy_.get());
  isUnderWay_ = false;
}

bool HttpExchange::isOverdue(Clock::time_point now) {
  curl_off_t sent = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
  if (sent != sent_) {
    sent_ = sent;
    moved_ = now;
  }
  return now - moved_ > allowed_;
}

void HttpExchange::noteHeader(std::string_view line) {
  if (line.starts_with("HTTP/")) {  // a new answer: an interim one may have come before
    answer_.closesConnection = line.starts_with("HTTP/1.0");
    line.remove_prefix(std::min(line.find(' '), line.size()));
    if (!takeNumber(line, answer_.status)) answer_.status = 0;
  } else if (const auto wait = valueOf(line, "Retry-After")) {
    answer_.retryAfter = retryAfter(std::string(*wait), std::chrono::system_clock::now());
  } else if (const auto place = valueOf(line, "Location")) {
    answer_.location = place->substr(0, place->find('?'));
  } else if (const auto connection = valueOf(line, "Connection")) {
    const bool closes = std::ranges::equal(*connection, std::string_view("close"), isSameLetter);
    answer_.closesConnection = closes;
  }
}

std::size_t HttpExchange::takeHeader(char* bytes, std::size_t one, std::size_t size,
                                     void* exchange) {
  static_cast<HttpExchange*>(exchange)->noteHeader({bytes, one * size});
  return one * size;
}

std::size_t HttpExchange::takeBody(char* bytes, std::size_t one, std::size_t size, void* exchange) {
  auto& self = *static_cast<HttpExchange*>(exchange);
  std::string& words = self.answer_.words;
  words.append(bytes, std::min(one * size, kMostWords - words.size()));
  self.isTooLong_ = words.size() >= kMostWords;
  return self.isTooLong_ ? 0 : one * size;
}

/// The answer as far as it has come. An engine that refuses need not have said all its words; one
/// that takes what was sent has to complete its answer.
Answer HttpExchange::answerSoFar() const {
  Answer answer = answer_;
  long created = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_NUM_CONNECTS, &created);
  curl_easy_getinfo(easy_.get(), CURLINFO_LOCAL_PORT, &answer.connection);
  answer.isNewConnection = created > 0;
  if (answer.status < 300) answer.status = 0;
  answer.words = withoutSecrets(std::move(answer.words), endpoint_);
  answer.location = withoutSecrets(std::move(answer.location), endpoint_);
  return answer;
}

Answer HttpExchange::finish(CURLcode result) {
  Answer answer = answerSoFar();
  if (result == CURLE_OK) {
    answer.status = answer_.status;
    if (answer.status == 0) answer.failure = "the answer is not HTTP";
  } else {
    answer.failure = isTooLong_               ? "the answer is too long"
                     : error_.front() != '\0' ? withoutSecrets(error_.data(), endpoint_)
                                              : std::string(curl_easy_strerror(result));
  }
  stop();
  return answer;
}

Answer HttpExchange::abandon(const std::string& reason) {
  Answer answer = answerSoFar();
  answer.failure = reason;
  stop();
  return answer;
}

}  // namespace tavrin
