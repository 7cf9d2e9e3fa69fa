#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "exporters/perfetto/PacketFile.h"
#include "exporters/perfetto/TraceFields.h"
#include "writers/host/Data.h"

namespace pftrace {

/// Something to tell of an event. Neither the name nor the value is copied.
struct Annotation {
  std::string_view name;
  const pwr::Data* value = nullptr;
};

/// The events of one track, as a sequence of packets of its own: so the times of a sequence ascend
/// whatever the order in which the tracks get their events, and the track need be named in the
/// first packet only. Each sequence is told the names that it uses; when the generation of names is
/// over, it clears its state and is told anew.
class TrackSequence {
 public:
  /// Of the track with the number `id`, which is the number of the sequence too.
  explicit TrackSequence(std::uint32_t id) : id_(id) {}

  std::uint32_t id() const { return id_; }

  // The times are in nanoseconds and must not be before the one of the call before.

  void begin(PacketFile& file, std::uint64_t time, std::string_view name,
             std::span<const Annotation> annotations) {
    addNamed(file, event::Type::SliceBegin, time, name, annotations);
  }
  void end(PacketFile& file, std::uint64_t time);
  void instant(PacketFile& file, std::uint64_t time, std::string_view name,
               std::span<const Annotation> annotations) {
    addNamed(file, event::Type::Instant, time, name, annotations);
  }
  void count(PacketFile& file, std::uint64_t time, double value);
  void count(PacketFile& file, std::uint64_t time, std::int64_t value);

 private:
  /// Names that the sequence has been told since its state was cleared.
  class Told {
   public:
    /// Whether it is new; it is told from now on.
    bool add(std::uint32_t id, std::uint32_t firstId);
    bool has(std::uint32_t id, std::uint32_t firstId) const {
      return id - firstId < told_.size() && told_[id - firstId];
    }
    void clear() { told_.clear(); }

   private:
    std::vector<bool> told_;  // by the place in the generation
  };

  void addNamed(PacketFile& file, event::Type type, std::uint64_t time, std::string_view name,
                std::span<const Annotation> annotations);
  void addShort(PacketFile& file, event::Type type, std::uint64_t time, std::uint32_t nameId) const;
  void addWhole(PacketFile& file, event::Type type, std::uint64_t time, const NameTable::Name& name,
                std::span<const Annotation> annotations);
  void beginCounter(PacketFile& file, std::uint64_t time);
  template <typename Packet>
  void addHead(Packet& packet, std::uint64_t time, std::uint32_t flags) const;
  bool isCurrent(PacketFile& file) const { return generation_ == file.names().generation(); }
  template <typename Packet>
  void beginState(Packet& packet, PacketFile& file, std::uint64_t time);

  std::uint32_t id_;
  std::uint32_t generation_ = 0;  // of the names that it has been told; 0 before the first packet
  Told eventNames_;
  Told annotationNames_;
};

}  // namespace pftrace
