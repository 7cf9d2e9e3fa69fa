#include "tavrin/ship/Transfers.h"

#include <algorithm>
#include <new>

namespace tavrin {

namespace {

constexpr std::chrono::milliseconds kMostWait{1000};

CURLM* createMulti() {
  static const CURLcode status = curl_global_init(CURL_GLOBAL_DEFAULT);
  return status == CURLE_OK ? curl_multi_init() : nullptr;
}

}  // namespace

Transfers::Transfers() : multi_(createMulti(), &curl_multi_cleanup) {
  if (multi_ == nullptr) throw std::bad_alloc();
}

void Transfers::perform(const std::function<void(CURL*, CURLcode)>& finished) {
  int running = 0;
  curl_multi_perform(multi_.get(), &running);
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg == CURLMSG_DONE) finished(message->easy_handle, message->data.result);
  }
}

void Transfers::wait(Clock::time_point until, int descriptor) {
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
  const auto bounded = std::clamp(wait, std::chrono::milliseconds(0), kMostWait);
  curl_waitfd stop{};
  stop.fd = descriptor;
  stop.events = CURL_WAIT_POLLIN;
  curl_multi_poll(multi_.get(), &stop, 1, static_cast<int>(bounded.count()), nullptr);
}

}  // namespace tavrin
