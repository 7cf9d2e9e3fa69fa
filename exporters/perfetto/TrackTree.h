#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "exporters/perfetto/PacketFile.h"
#include "exporters/perfetto/TraceClock.h"
#include "exporters/perfetto/TrackSequence.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/Process.h"
#include "writers/host/Quantity.h"

namespace pftrace {

/// What the values of a counter are in.
struct CounterUnit {
  std::int32_t kind = 0;  ///< one of those that the format has, or 0
  std::string name{};     ///< where it has none

  static CounterUnit of(const pwr::Quantity* quantity);
};

/// Where a track stands: below which other one, and in what place among its siblings.
struct TrackPlace {
  std::uint64_t parent = 0;  ///< 0 for none
  std::int32_t rank = 0;
};

/// The number of a process or a thread, as traces have it; nothing for what can be none.
inline std::optional<std::int32_t> taskId(std::optional<long long> number) {
  const bool isId = number && *number >= 0 && *number <= std::numeric_limits<std::int32_t>::max();
  return isId ? std::optional(static_cast<std::int32_t>(*number)) : std::nullopt;
}

/// The tracks of a trace. Each is described once, before anything refers to it. Entities are below
/// their parents, and those without one below a track for each kind of entity.
class TrackTree {
 public:
  explicit TrackTree(PacketFile& file) : file_(file), sequence_(file.newId()) {}

  /// Writes the first packets: the clock, by its time (nanoseconds) at the wall clock's `wallTime`
  /// (nanoseconds since 1970, 0 for unknown), and the order of the top.
  void begin(std::uint64_t time, std::uint64_t wallTime);

  /// A new track for slices and instants, or for a counter.
  TrackSequence addTrack(const std::string& name, const TrackPlace& place);
  TrackSequence addCounter(const std::string& name, const TrackPlace& place,
                           const CounterUnit& unit);

  // These return the number of the track.

  std::uint64_t entity(const pwr::EntityHandle& entity);
  /// A track that others stand below.
  std::uint64_t group(const std::string& name, std::int32_t rank);
  /// `name` may be empty for unknown.
  std::uint64_t process(std::int32_t pid, std::string_view name);
  void thread(std::int32_t pid, std::int32_t tid, std::string_view name);
  /// What is known of them at the end of a run.
  void complete(const pwr::Process& process, const TraceClock& clock);
  void complete(const pwr::Thread& thread);

 private:
  void describeEntity(const pwr::EntityHandle& entity);
  std::uint64_t parentOf(const pwr::EntityHandle& entity);
  bool isNew(std::uint64_t track);
  void describeProcess(std::int32_t pid, std::string_view name, std::string_view path,
                       std::uint64_t start);
  void describeThread(std::int32_t pid, std::int32_t tid, std::string_view name);
  template <typename AddRest>
  void describe(std::uint64_t track, std::string_view name, const TrackPlace& place,
                const AddRest& addRest);

  PacketFile& file_;
  const std::uint32_t sequence_;
  std::unordered_map<unsigned long long, std::uint64_t> entities_;  // by their ids
  std::map<std::string, std::uint64_t> groups_;
  std::unordered_set<std::uint64_t> told_;  // processes and threads
};

}  // namespace pftrace
