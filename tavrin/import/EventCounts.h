#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "tavrin/events/KernelEvent.h"

namespace tavrin {

/// Counts the events of a recording by their names and CPUs, and decides which of those that no
/// group knows are wanted.
///
/// A pattern is the name of an event, or "system:name" where the recording tells systems; '*'
/// stands for any characters, '?' for one.
class EventCounts {
 public:
  /// Events of further names are counted together; they are not wanted.
  static constexpr std::size_t kMostNames = 4096;
  /// Counts are also kept by CPU if no event is of a CPU with a higher number.
  static constexpr unsigned int kMostCpus = 32;

  explicit EventCounts(std::vector<std::string> patterns);

  /// Whether a pattern matches the event, which the recording has.
  bool isWanted(const KernelEvent& event);

  /// Counts an event, which is no loss. Returns whether it becomes part of a metric: it is known,
  /// or wanted.
  bool add(const KernelEvent& event);

  /// Delivers a table of all that were counted, the most frequent first.
  void deliver(unsigned int containerId, pwr::MessageSink& sink) const;
  /// Tells the user how many events are left out, and which patterns no event has matched.
  void tell() const;

 private:
  struct Name {
    unsigned long long count = 0;
    unsigned long long leftOut = 0;  ///< of the count
    bool isWanted = false;
    std::vector<unsigned long long> byCpu;
  };
  struct Pattern {
    std::string text;
    bool isMatched = false;
  };
  using Row = std::pair<std::string, const Name*>;

  Name& find(const KernelEvent& event);
  /// Those of which the count is not 0, the highest first.
  std::vector<Row> byFrequency(unsigned long long Name::*count) const;

  std::vector<Pattern> patterns_;
  std::map<std::string, Name, std::less<>> names_;
  Name others_;
  unsigned int cpus_ = 0;  // the highest number of an event's CPU, and 1
};

}  // namespace tavrin
