#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "exporters/perfetto/Trace.h"
#include "exporters/perfetto/TrackSequence.h"
#include "writers/host/Metric.h"

namespace pftrace {

/// The value of a counter.
struct Amount {
  bool isWhole = false;
  std::int64_t whole = 0;
  double real = 0.0;
};

/// A counter of a series. Each value is told at the start of what it stands for, the last one once
/// more at its end. The format has no counters without a value: where a value stands for a length
/// of time behind which there is a gap, the counter is 0 in the gap.
class CounterTrack {
 public:
  explicit CounterTrack(TrackSequence sequence) : sequence_(std::move(sequence)) {}

  /// How long a gap before a value of that time would be, in ticks.
  unsigned long long gapBefore(unsigned long long time) const {
    return length_ != 0 && time > end_ ? time - end_ : 0;
  }
  unsigned long long end() const { return end_; }
  /// Of the value before.
  unsigned long long length() const { return length_; }

  void add(Trace& trace, const Span& span, const Amount& amount, bool isBehindGap);
  void close(Trace& trace);

 private:
  void tell(Trace& trace, unsigned long long time);

  TrackSequence sequence_;
  Amount last_;
  unsigned long long end_ = 0;
  unsigned long long length_ = 0;
};

/// The states of a series. Each is begun when it comes, and ends where it is over or, where that is
/// not known or too late, when the next one begins; so there is one at a time whatever comes.
class StateTrack {
 public:
  explicit StateTrack(TrackSequence sequence) : sequence_(std::move(sequence)) {}

  /// `isSample`: one that goes on with the same name behind the state before is part of it.
  void add(Trace& trace, const Span& span, std::string_view name,
           std::span<const Annotation> annotations, bool isSample);
  /// Ends the last state; at `end` (ticks) where its end is not known.
  void close(Trace& trace, unsigned long long end);

 private:
  TrackSequence sequence_;
  bool isOpen_ = false;
  bool hasLength_ = false;
  bool isPlain_ = false;  // without annotations
  unsigned long long end_ = 0;
  std::string name_;
};

/// The tracks of one series, made when there is something for them.
class SeriesTracks {
 public:
  /// Of a counter, whether its values are as they came, or rates and shares of time.
  enum class Scale : std::uint8_t { Plain, OfTime };

  SeriesTracks(std::string name, const TrackPlace& place) : name_(std::move(name)), place_(place) {}

  /// Whether the time is not before that of the latest point. It is that of the latest from now on.
  bool isInOrder(unsigned long long time) {
    if (time < last_) return false;
    last_ = time;
    return true;
  }

  const std::string& name() const { return name_; }
  CounterTrack& counter(Trace& trace, Scale scale, const CounterUnit& unit);
  StateTrack& states(Trace& trace);
  TrackSequence& events(Trace& trace);
  /// Ends what is open.
  void close(Trace& trace, unsigned long long end);

 private:
  const std::string name_;
  const TrackPlace place_;
  unsigned long long last_ = 0;
  std::array<std::unique_ptr<CounterTrack>, 2> counters_;  // by their scales
  std::unique_ptr<StateTrack> states_;
  std::unique_ptr<TrackSequence> events_;
};

}  // namespace pftrace
