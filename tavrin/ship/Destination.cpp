#include "tavrin/ship/Destination.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <utility>

#include "packing/Packing.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/ship/EngineProbe.h"

namespace tavrin {

namespace {

constexpr std::chrono::seconds kStatisticsPeriod{10};
/// How often a file is sent again because a connection has ended without a word, which servers do
/// also when nothing was sent for a while. After a failure it is always sent again.
constexpr unsigned int kMostTimes = 3;
constexpr unsigned int kAlways = std::numeric_limits<unsigned int>::max();
/// Refused batches of a file after which the rest of it is not tried.
constexpr unsigned int kMostRefusals = 10;

std::string packed(std::string_view text) {
  std::string body;
  const std::unique_ptr<Packer> packer = createPacker(Packing::Gzip);
  if (packer->pack(text, body) != 0 || packer->endFrame(body) != 0) body.clear();
  return body;
}

std::string bytesOf(const std::string& path, std::uint64_t size) {
  std::string bytes(size, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(bytes.data(), static_cast<std::streamsize>(size));
  return file.gcount() == static_cast<std::streamsize>(size) ? bytes : std::string();
}

std::uint64_t linesIn(std::string_view text) {
  const auto breaks = static_cast<std::uint64_t>(std::ranges::count(text, '\n'));
  return breaks + (text.empty() || text.ends_with('\n') ? 0 : 1);
}

bool isPartlyStored(const Answer& answer) {
  return answer.words.find("partial write") != std::string::npos;
}

bool isClusterUrl(const Endpoint& endpoint) {
  return endpoint.name.find("/insert/") != std::string::npos;
}

}  // namespace

Destination::Destination(Transfers& transfers, Endpoint endpoint, FileQueue& queue,
                         const ShipTimes& times, const ShipPlace& place)
    : endpoint_(std::move(endpoint)),
      queue_(queue),
      times_(times),
      place_(place),
      exchange_(transfers, endpoint_, times.patience),
      backoff_(times.retryMost),
      nextStatistics_(Clock::now() + kStatisticsPeriod) {}

void Destination::work(Clock::time_point now) {
  if (exchange_.isUnderWay()) {
    if (!exchange_.isOverdue(now)) return;
    handle(exchange_.abandon("no answer in time"), now);
  }
  if (now < notBefore_) return;
  if (!isProbed_) {
    isProbed_ = true;
    request_ = Request::Probe;
    exchange_.get(kFlagsPage);
  } else if (isStatisticsDue(now)) {
    sendStatistics(now);
  } else {
    while (hasWaiting() && !sendLines(now)) {
    }
  }
}

Destination::Clock::time_point Destination::wake(Clock::time_point now) const {
  if (exchange_.isUnderWay()) return now + times_.patience / 4;
  Clock::time_point next = nextStatistics_;
  if (const auto held = backlog_.heldSince()) next = std::min(next, *held + times_.hold);
  if (hasWaiting() || shallReconnect_ || !isProbed_) next = now;
  return std::max(next, notBefore_);
}

/// Whether it is time for the figures: regularly, and where nothing else would show that the engine
/// lives.
bool Destination::isStatisticsDue(Clock::time_point now) const {
  if (now >= nextStatistics_) return true;
  if (hasWaiting()) return false;
  const auto held = backlog_.heldSince();
  return shallReconnect_ || (held && now >= *held + times_.hold);
}

void Destination::sendStatistics(Clock::time_point now) {
  nextStatistics_ = now + kStatisticsPeriod;
  request_ = Request::Statistics;
  body_ = packed(statisticsLine(place_, counts_, load(), std::chrono::system_clock::now()));
  exchange_.post(body_);
}

ShipLoad Destination::load() const {
  const QueuedFile* oldest = backlog_.oldest();
  if (current_ && (oldest == nullptr || current_->file->order < oldest->order)) {
    oldest = current_->file.get();
  }
  ShipLoad load{.files = waiting(), .lost = queue_.lost()};
  if (oldest == nullptr) return load;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto age = now - std::chrono::nanoseconds(oldest->order.modified);
  load.lagSec = std::max(0.0, std::chrono::duration<double>(age).count());
  return load;
}

/// Opens the next file; false when there is none.
bool Destination::openNext() {
  while (auto next = backlog_.take()) {
    current_ = std::move(next);
    heldBatches_.clear();
    safe_ = current_->from;
    refusals_ = 0;
    isDoubtful_ = false;
    try {
      reader_ = std::make_unique<BatchReader>(current_->file->path, current_->from);
      return true;
    } catch (const CommandError& error) {
      refuseFile(error.what());
      settleRefused(closeFile());
    }
  }
  return false;
}

/// Sends the next batch. False when there was none in the file at hand, which is done with.
bool Destination::sendLines(Clock::time_point now) {
  if (current_ && current_->file->isGone) closeFile();
  if (!current_ && !openNext()) return false;
  batch_ = refusals_ < kMostRefusals ? reader_->peek(mostText_) : std::string_view();
  if (batch_.empty() || !prepareBody()) {
    endFile(now);
    return false;
  }
  request_ = Request::Lines;
  exchange_.post(body_);
  return true;
}

/// False when the file cannot be read once more.
bool Destination::prepareBody() {
  // Packed files may be much longer than what is in them.
  const bool isShort = current_->file->size <= BatchReader::kMostText;
  if (isShort && reader_->isWholePackedFile(batch_.size())) {
    body_ = bytesOf(current_->file->path, current_->file->size);
  } else {
    body_ = packed(batch_);
  }
  if (body_.empty()) refuseFile("it cannot be read");
  return !body_.empty();
}

Delivery Destination::closeFile() {
  Delivery delivery = std::move(*current_);
  current_.reset();
  reader_.reset();
  heldBatches_.clear();
  return delivery;
}

void Destination::settleRefused(const Delivery& delivery) {
  if (delivery.file->isGone) return;
  ++counts_.rejected;
  if (delivery.times == 0) --delivery.file->unacknowledged;
  queue_.settle(delivery.file);
}

/// The file at hand has been sent as far as it can be.
void Destination::endFile(Clock::time_point now) {
  if (refusals_ >= kMostRefusals) refuseFile("the rest of it was not sent");
  if (!reader_->fault().empty()) {
    refuseFile(reader_->fault() + " (after line " + std::to_string(reader_->lines()) + ")");
  }
  Delivery delivery = closeFile();
  if (refusals_ > 0) {
    settleRefused(delivery);
    return;
  }
  if (delivery.file->isGone) return;
  if (delivery.times == 0) --delivery.file->unacknowledged;
  ++counts_.files;
  if (isDoubtful_) {
    ++delivery.times;
    delivery.from = safe_;
    backlog_.putBack(std::move(delivery));
    return;
  }
  backlog_.acknowledge(std::move(delivery), now);
  release(now);
}

/// Done with what was acknowledged so long ago that it is safe.
void Destination::release(Clock::time_point now) {
  for (const QueuedFilePtr& file : backlog_.release(now - times_.hold)) queue_.settle(file);
  for (; !heldBatches_.empty() && heldBatches_.front().acknowledged <= now - times_.hold;
       heldBatches_.pop_front()) {
    safe_ = heldBatches_.front().end;
  }
}

void Destination::finish(const CURL* request, CURLcode result, Clock::time_point now) {
  if (exchange_.isHandle(request)) handle(exchange_.finish(result), now);
}

void Destination::handle(const Answer& answer, Clock::time_point now) {
  const Request request = std::exchange(request_, Request::None);
  noteConnection(answer);
  if (request == Request::Probe) {
    tellEngine(answer);
    return;  // what its failure means the lines will tell
  }
  const Verdict verdict = verdictOf(answer);
  if (verdict == Verdict::Hold) {
    shut(answer, now);
  } else if (verdict == Verdict::Again) {
    failed(answer, now);
  } else {
    alive(now);
    if (verdict != Verdict::Taken) ++counts_.failed;
    if (request != Request::Lines) return;
    if (verdict == Verdict::Taken) taken(now);
    if (verdict == Verdict::TooLarge) tooLarge(answer);
    if (verdict == Verdict::Refused) refuse(answer);
  }
}

/// An engine that was killed has closed the connection. So has one that has closed it for other
/// reasons without saying so.
void Destination::noteConnection(const Answer& answer) {
  const bool isNew = answer.isNewConnection || answer.connection != connection_;
  if (isOutage(answer)) {
    doubt(kAlways);
  } else if (isNew && connection_ != 0 && !mayReconnect_) {
    doubt(kMostTimes);
  }
  isKept_ = !isNew;
  connection_ = answer.status == 0 ? 0 : answer.connection;
  // One that was given up was closed by this side.
  mayReconnect_ = answer.closesConnection || !answer.failure.empty();
  // The gap in which an engine could be killed unnoticed is kept short, unless the server closes
  // each connection at once.
  shallReconnect_ = answer.closesConnection && isKept_;
}

void Destination::doubt(unsigned int mostTimes) {
  backlog_.doubt(mostTimes);
  if (heldBatches_.empty() || current_->times >= mostTimes) return;
  heldBatches_.clear();
  isDoubtful_ = true;
}

/// The engine has answered.
void Destination::alive(Clock::time_point now) {
  backoff_.reset();
  notBefore_ = {};
  isShut_ = false;
  if (failingSince_) {
    inform(endpoint_.name + " answers again, after " +
           timeText(std::chrono::duration<double>(now - *failingSince_).count()));
    failingSince_.reset();
  }
  release(now);
}

void Destination::taken(Clock::time_point now) {
  counts_.lines += linesIn(batch_);
  counts_.bytes += body_.size();
  reader_->consume(batch_.size());
  if (!isDoubtful_) heldBatches_.push_back({.end = reader_->offset(), .acknowledged = now});
  release(now);
  if (reader_->peek(mostText_).empty()) endFile(now);
}

void Destination::shut(const Answer& answer, Clock::time_point now) {
  ++counts_.failed;
  isShut_ = true;
  notBefore_ = now + std::chrono::duration_cast<Clock::duration>(backoff_.longest());
  tellFailure(answer, "nothing is sent there until that changes");
}

void Destination::failed(const Answer& answer, Clock::time_point now) {
  ++counts_.failed;
  const auto wait = backoff_.next(answer.retryAfter);
  notBefore_ = now + std::chrono::duration_cast<Clock::duration>(wait);
  tellFailure(answer, "it is tried again");
}

void Destination::tellFailure(const Answer& answer, const std::string& consequence) {
  const bool isTold = failureNotes_[answer.status].tell(endpoint_.name + ": " + textOf(answer) +
                                                        "; " + consequence);
  if (isTold && !failingSince_) failingSince_ = Clock::now();
}

void Destination::tooLarge(const Answer& answer) {
  if (linesIn(batch_) > 1) {
    mostText_ = batch_.size() / 2;
    return;
  }
  mostText_ = BatchReader::kMostText;
  refuse(answer);
}

void Destination::refuse(const Answer& answer) {
  ++refusals_;
  const std::uint64_t first = reader_->lines() + 1;
  const std::uint64_t last = reader_->lines() + linesIn(batch_);
  const std::string lines = first == last
                                ? "line " + std::to_string(first)
                                : "lines " + std::to_string(first) + " to " + std::to_string(last);
  current_->file->refusals.push_back(
      endpoint_.name + ": " + lines + ": " + textOf(answer) +
      (isPartlyStored(answer) ? " (the other lines are stored)" : ""));
  reader_->consume(batch_.size());
}

/// Sets the file at hand aside for a reason of its own.
void Destination::refuseFile(const std::string& reason) {
  ++refusals_;
  current_->file->refusals.push_back(current_->file->order.name + ": " + reason);
}

void Destination::tellEngine(const Answer& answer) const {
  const EngineRemarks remarks = engineRemarks(answer, isClusterUrl(endpoint_));
  if (!remarks.note.empty()) inform(endpoint_.name + ": " + remarks.note);
  if (!remarks.warning.empty()) warn(endpoint_.name + ": " + remarks.warning);
}

}  // namespace tavrin
