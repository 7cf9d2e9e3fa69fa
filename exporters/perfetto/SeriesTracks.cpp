#include "exporters/perfetto/SeriesTracks.h"

#include <algorithm>

namespace pftrace {

void CounterTrack::add(Trace& trace, const Span& span, const Amount& amount, bool isBehindGap) {
  if (isBehindGap) {
    last_ = {.isWhole = amount.isWhole};
    tell(trace, end_);
  }
  last_ = amount;
  tell(trace, span.time);
  length_ = span.length;
  end_ = span.end();
}

void CounterTrack::tell(Trace& trace, unsigned long long time) {
  const std::uint64_t nanoseconds = trace.clock.nanoseconds(time);
  if (last_.isWhole) {
    sequence_.count(trace.file, nanoseconds, last_.whole);
  } else {
    sequence_.count(trace.file, nanoseconds, last_.real);
  }
}

void CounterTrack::close(Trace& trace) {
  if (length_ != 0) tell(trace, end_);
}

void StateTrack::add(Trace& trace, const Span& span, std::string_view name,
                     std::span<const Annotation> annotations, bool isSample) {
  const bool isSame = isSample && isOpen_ && isPlain_ && annotations.empty() && name == name_;
  if (isSame && hasLength_ && span.length != 0 && span.time <= end_) {
    end_ = std::max(end_, span.end());
    return;
  }
  close(trace, span.time);
  sequence_.begin(trace.file, trace.clock.nanoseconds(span.time), name, annotations);
  isOpen_ = true;
  hasLength_ = span.length != 0;
  isPlain_ = annotations.empty();
  end_ = span.end();
  if (isSample) name_ = name;
}

void StateTrack::close(Trace& trace, unsigned long long end) {
  if (!isOpen_) return;
  isOpen_ = false;
  sequence_.end(trace.file, trace.clock.nanoseconds(hasLength_ ? std::min(end_, end) : end));
}

CounterTrack& SeriesTracks::counter(Trace& trace, Scale scale, const CounterUnit& unit) {
  auto& counter = counters_[static_cast<std::size_t>(scale)];
  if (counter == nullptr) {
    counter = std::make_unique<CounterTrack>(trace.tree.addCounter(name_, place_, unit));
  }
  return *counter;
}

StateTrack& SeriesTracks::states(Trace& trace) {
  if (states_ == nullptr) {
    states_ = std::make_unique<StateTrack>(trace.tree.addTrack(name_, place_));
  }
  return *states_;
}

TrackSequence& SeriesTracks::events(Trace& trace) {
  if (events_ == nullptr) {
    events_ = std::make_unique<TrackSequence>(trace.tree.addTrack(name_, place_));
  }
  return *events_;
}

void SeriesTracks::close(Trace& trace, unsigned long long end) {
  for (const auto& counter : counters_) {
    if (counter != nullptr) counter->close(trace);
  }
  if (states_ != nullptr) states_->close(trace, end);
}

}  // namespace pftrace
