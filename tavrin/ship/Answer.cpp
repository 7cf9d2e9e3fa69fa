#include "tavrin/ship/Answer.h"

#include <algorithm>
#include <string_view>

#include "tavrin/common/PlainText.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr std::size_t kMostShown = 400;  // bytes that are shown

enum HttpStatus : long {
  kUnauthorized = 401,
  kForbidden = 403,
  kNotFound = 404,
  kProxyAuthentication = 407,
  kTimeout = 408,
  kContentTooLarge = 413,
  kTooEarly = 425,
  kTooManyRequests = 429,
  kBadGateway = 502,
  kUnavailable = 503,
  kGatewayTimeout = 504,
};

/// VictoriaMetrics calls an unknown path a bad request.
bool isUnknownPath(const Answer& answer) {
  return answer.words.find("unsupported path requested") != std::string::npos;
}

}  // namespace

Verdict verdictOf(const Answer& answer) {
  switch (answer.status) {
    case kUnauthorized:
    case kForbidden:
    case kNotFound:
    case kProxyAuthentication:
      return Verdict::Hold;
    case kTimeout:
    case kTooEarly:
    case kTooManyRequests:
      return Verdict::Again;
    case kContentTooLarge:
      return Verdict::TooLarge;
    default:
      break;
  }
  if (answer.status >= 200 && answer.status < 300) return Verdict::Taken;
  if (answer.status >= 300 && answer.status < 400) return Verdict::Hold;
  if (answer.status >= 400 && answer.status < 500) {
    return isUnknownPath(answer) ? Verdict::Hold : Verdict::Refused;
  }
  return Verdict::Again;
}

bool isOutage(const Answer& answer) {
  return answer.status == 0 || answer.status == kBadGateway || answer.status == kUnavailable ||
         answer.status == kGatewayTimeout;
}

std::string textOf(const Answer& answer) {
  if (answer.status == 0) return answer.failure;
  std::string text = "HTTP status " + std::to_string(answer.status);
  if (!answer.location.empty()) {
    return text + ", which points to " + escaped(answer.location) + "; redirects are not followed";
  }
  std::string words(trimmed(answer.words));
  if (words.size() > kMostShown) words = words.substr(0, kMostShown) + "...";
  std::ranges::replace(words, '\n', ' ');
  return words.empty() ? text : text + ": " + escaped(words);
}

}  // namespace tavrin
