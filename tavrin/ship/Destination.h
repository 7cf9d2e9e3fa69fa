#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tavrin/common/RepeatedNote.h"
#include "tavrin/ship/Backlog.h"
#include "tavrin/ship/BatchReader.h"
#include "tavrin/ship/FileQueue.h"
#include "tavrin/ship/HttpExchange.h"
#include "tavrin/ship/ShipStatistics.h"

namespace tavrin {

struct ShipTimes {
  std::chrono::steady_clock::duration hold;
  Backoff::Duration retryMost;
  std::chrono::steady_clock::duration patience;  ///< with a request
};

/// One place that the files are sent to, with its own progress: what it has acknowledged, what it
/// has to get again, how long it is left alone after a failure.
///
/// An acknowledged file is held until the engine has answered something else, on the same
/// connection, after the time of the hold: only then it is known to have lived on. Its own figures
/// are sent for that where there are no other lines.
class Destination {
 public:
  using Clock = std::chrono::steady_clock;

  /// What is given by reference must outlive it.
  Destination(Transfers& transfers, Endpoint endpoint, FileQueue& queue, const ShipTimes& times,
              const ShipPlace& place);

  void add(const QueuedFilePtr& file) { backlog_.add(file); }
  /// Files have been found to be gone.
  void sweep() { backlog_.sweep(); }

  /// Starts what is due, gives up what takes too long.
  void work(Clock::time_point now);
  /// Takes the end of a request if it was one of this destination's.
  void finish(const CURL* request, CURLcode result, Clock::time_point now);
  /// When there is something to do next, apart from the end of a request.
  Clock::time_point wake(Clock::time_point now) const;

  /// Whether files wait to be acknowledged.
  bool hasWaiting() const { return current_.has_value() || backlog_.waiting() > 0; }
  /// Whether acknowledged files are held.
  bool isHolding() const { return backlog_.held() > 0; }
  /// Whether nothing is taken until somebody changes something.
  bool isShut() const { return isShut_; }
  std::size_t waiting() const { return backlog_.waiting() + (current_ ? 1 : 0); }
  ShipLoad load() const;
  const ShipCounts& counts() const { return counts_; }
  const std::string& name() const { return endpoint_.name; }

 private:
  enum class Request { None, Probe, Statistics, Lines };

  bool isStatisticsDue(Clock::time_point now) const;
  void sendStatistics(Clock::time_point now);
  bool sendLines(Clock::time_point now);
  bool openNext();
  bool prepareBody();
  void endFile(Clock::time_point now);
  Delivery closeFile();
  void settleRefused(const Delivery& delivery);
  void release(Clock::time_point now);

  void handle(const Answer& answer, Clock::time_point now);
  void noteConnection(const Answer& answer);
  void doubt(unsigned int mostTimes);
  void alive(Clock::time_point now);
  void taken(Clock::time_point now);
  void shut(const Answer& answer, Clock::time_point now);
  void failed(const Answer& answer, Clock::time_point now);
  void tooLarge(const Answer& answer);
  void refuse(const Answer& answer);
  void refuseFile(const std::string& reason);
  void tellEngine(const Answer& answer) const;
  void tellFailure(const Answer& answer, const std::string& consequence);

  const Endpoint endpoint_;
  FileQueue& queue_;
  const ShipTimes times_;
  const ShipPlace& place_;
  HttpExchange exchange_;
  Backlog backlog_;
  Backoff backoff_;
  ShipCounts counts_;

  // The file that is being sent:
  struct HeldBatch {
    std::uint64_t end;
    Clock::time_point acknowledged;
  };
  std::optional<Delivery> current_;
  std::unique_ptr<BatchReader> reader_;
  std::string_view batch_;             ///< of the reader
  std::deque<HeldBatch> heldBatches_;  ///< acknowledged, but not long ago
  std::uint64_t safe_ = 0;             ///< bytes that are acknowledged for longer
  unsigned int refusals_ = 0;          ///< of its batches
  bool isDoubtful_ = false;            ///< held batches may have been lost

  // The request that is under way:
  Request request_ = Request::None;
  std::string body_;

  bool isProbed_ = false;
  bool isShut_ = false;
  std::size_t mostText_ = BatchReader::kMostText;  ///< of a batch
  Clock::time_point notBefore_{};
  Clock::time_point nextStatistics_;

  // The connection:
  long connection_ = 0;  ///< 0: none that has answered
  bool mayReconnect_ = false;
  bool shallReconnect_ = false;
  bool isKept_ = false;  ///< it has served more than one request

  std::map<long, RepeatedNote> failureNotes_;  ///< by status
  RepeatedNote refusalNote_;
  std::optional<Clock::time_point> failingSince_;
};

}  // namespace tavrin
