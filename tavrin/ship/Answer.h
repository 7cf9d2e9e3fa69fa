#pragma once

#include <optional>
#include <string>

#include "tavrin/ship/Backoff.h"

namespace tavrin {

/// How a request ended.
struct Answer {
  long status = 0;       ///< of HTTP; 0 when there was no whole answer, for the reason `failure`
  std::string failure;   ///< "Connection refused"
  std::string words;     ///< what the engine said, up to some bound
  std::string location;  ///< where a redirect points
  std::optional<Backoff::Duration> retryAfter;
  long connection = 0;  ///< the port of this side; differs from connection to connection
  bool isNewConnection = false;
  bool closesConnection = false;  ///< as announced in the answer
};

/// What an answer means for what was sent.
enum class Verdict {
  Taken,     ///< it is acknowledged
  Again,     ///< later it may be
  Hold,      ///< nothing is taken until somebody changes something
  TooLarge,  ///< less at a time may be taken
  Refused,   ///< it will never be taken
};
Verdict verdictOf(const Answer& answer);

/// Whether the engine may have been killed: it, or what stands before it, has lost a connection.
bool isOutage(const Answer& answer);

/// The answer for people: its status and the engine's words, in one line.
std::string textOf(const Answer& answer);

}  // namespace tavrin
