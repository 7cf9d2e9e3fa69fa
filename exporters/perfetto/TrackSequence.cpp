#include "exporters/perfetto/TrackSequence.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <protozero/pbf_writer.hpp>

#include "writers/common/LittleEndian.h"

namespace pftrace {

namespace {

using Message = protozero::pbf_writer;

/// A packet with a time and an event of few bytes, as nearly all are, which is put in its place at
/// once (perfetto/fwrite in ./bench).
class ShortPacket {
 public:
  ShortPacket(PacketFile& file, std::uint64_t time, std::uint32_t sequence)
      : file_(file), room_(file.extend()), at_(room_ + kHead) {
    addVarint(packet::kTimestamp, time);
    addVarint(packet::kSequenceId, sequence);
    addVarint(packet::kSequenceFlags, packet::kNeedsState);
    event_ = at_ + kHead;
    at_ = event_;
  }
  ~ShortPacket() {
    putHead(packet::kTrackEvent, event_);
    putHead(trace::kPacket, room_ + kHead);
    file_.cut(room_, at_);
  }
  ShortPacket(const ShortPacket&) = delete;
  ShortPacket& operator=(const ShortPacket&) = delete;

  void addVarint(Field field, std::uint64_t value) {
    addTag(field, protozero::pbf_wire_type::varint);
    at_ += protozero::add_varint_to_buffer(at_, value);
  }
  void addDouble(Field field, double value) {
    addTag(field, protozero::pbf_wire_type::fixed64);
    std::array<std::byte, sizeof value> bytes{};
    putLittleEndian(bytes.data(), std::bit_cast<std::uint64_t>(value));
    std::memcpy(at_, bytes.data(), bytes.size());
    at_ += bytes.size();
  }

 private:
  static constexpr std::size_t kHead = 2;  // of a field of less than 128 bytes

  static std::uint32_t tagOf(Field field, protozero::pbf_wire_type type) {
    return (field << 3U) | static_cast<std::uint32_t>(type);
  }
  void addTag(Field field, protozero::pbf_wire_type type) {
    at_ += protozero::add_varint_to_buffer(at_, tagOf(field, type));
  }
  /// Before a message that begins at `content` and ends here.
  void putHead(Field field, char* content) const {
    content[-2] = static_cast<char>(tagOf(field, protozero::pbf_wire_type::length_delimited));
    content[-1] = static_cast<char>(at_ - content);
  }

  PacketFile& file_;
  char* const room_;
  char* at_;
  char* event_ = nullptr;
};

/// Not what NaN and infinity are: readers fail at them.
void addValue(Message& annotation, const pwr::Data& value) {
  long long whole = 0;
  unsigned long long natural = 0;
  double real = 0.0;
  const pwr::DataType type = value.getType();
  if (type == pwr::DataType::Int && value.toInt(whole) == 0) {
    annotation.add_int64(annotation::kIntValue, whole);
  } else if (type == pwr::DataType::UInt && value.toUInt(natural) == 0) {
    annotation.add_uint64(annotation::kUIntValue, natural);
  } else if (type == pwr::DataType::Real && value.toReal(real) == 0 && std::isfinite(real)) {
    annotation.add_double(annotation::kDoubleValue, real);
  } else {
    std::string text;
    value.toString(text);
    annotation.add_string(annotation::kStringValue, shownText(text));
  }
}

void addName(Message& names, Field field, const NameTable::Name& name) {
  Message entry(names, field);
  entry.add_uint64(interned::kId, name.id);
  entry.add_string(interned::kName, name.text);
}

void addAnnotations(Message& event, NameTable& names, std::span<const Annotation> annotations) {
  for (const Annotation& one : annotations) {
    Message entry(event, event::kAnnotations);
    entry.add_uint64(annotation::kNameId, names.find(one.name).id);
    addValue(entry, *one.value);
  }
}

}  // namespace

bool TrackSequence::Told::add(std::uint32_t id, std::uint32_t firstId) {
  if (has(id, firstId)) return false;
  if (id - firstId >= told_.size()) told_.resize(id - firstId + std::size_t{1});
  told_[id - firstId] = true;
  return true;
}

template <typename Packet>
void TrackSequence::addHead(Packet& packet, std::uint64_t time, std::uint32_t flags) const {
  packet.add_uint64(packet::kTimestamp, time);
  packet.add_uint32(packet::kSequenceId, id_);
  packet.add_uint32(packet::kSequenceFlags, flags);
}

/// Begins a packet after which the sequence has been told nothing but its clock and its track.
template <typename Packet>
void TrackSequence::beginState(Packet& packet, PacketFile& file, std::uint64_t time) {
  addHead(packet, time, packet::kStateCleared | packet::kNeedsState);
  if (generation_ == 0) packet.add_bool(packet::kFirstOnSequence, true);
  Message all(packet, packet::kDefaults);
  all.add_uint32(defaults::kTimestampClockId, clock_snapshot::kMonotonicRaw);
  Message ofEvents(all, defaults::kTrackEventDefaults);
  ofEvents.add_uint64(defaults::kTrackUuid, id_);
  generation_ = file.names().generation();
  eventNames_.clear();
  annotationNames_.clear();
}

void TrackSequence::end(PacketFile& file, std::uint64_t time) {
  addShort(file, event::Type::SliceEnd, time, 0);
}

void TrackSequence::addNamed(PacketFile& file, event::Type type, std::uint64_t time,
                             std::string_view name, std::span<const Annotation> annotations) {
  NameTable& names = file.names();
  names.makeRoom(annotations.size() + 1);
  const NameTable::Name& known = names.find(name);
  const bool isShort =
      annotations.empty() && isCurrent(file) && eventNames_.has(known.id, names.firstId());
  if (isShort) {
    addShort(file, type, time, known.id);
  } else {
    addWhole(file, type, time, known, annotations);
  }
}

void TrackSequence::addShort(PacketFile& file, event::Type type, std::uint64_t time,
                             std::uint32_t nameId) const {
  ShortPacket packet(file, time, id_);
  packet.addVarint(event::kType, static_cast<std::uint64_t>(type));
  if (nameId != 0) packet.addVarint(event::kNameId, nameId);
}

void TrackSequence::addWhole(PacketFile& file, event::Type type, std::uint64_t time,
                             const NameTable::Name& name, std::span<const Annotation> annotations) {
  NameTable& names = file.names();
  std::string& bytes = file.scratch();
  Message packet(bytes);
  if (isCurrent(file)) {
    addHead(packet, time, packet::kNeedsState);
  } else {
    beginState(packet, file, time);
  }
  {
    Message told(packet, packet::kInternedData);
    if (eventNames_.add(name.id, names.firstId())) addName(told, interned::kEventNames, name);
    for (const Annotation& one : annotations) {
      const NameTable::Name& key = names.find(one.name);
      if (!annotationNames_.add(key.id, names.firstId())) continue;
      addName(told, interned::kAnnotationNames, key);
    }
  }
  {
    Message event(packet, packet::kTrackEvent);
    event.add_enum(event::kType, static_cast<std::int32_t>(type));
    event.add_uint64(event::kNameId, name.id);
    addAnnotations(event, names, annotations);
  }
  file.add(bytes);
}

/// The first packet of a counter has no value, so that all values are short packets.
void TrackSequence::beginCounter(PacketFile& file, std::uint64_t time) {
  std::string& bytes = file.scratch();
  Message packet(bytes);
  beginState(packet, file, time);
  file.add(bytes);
}

void TrackSequence::count(PacketFile& file, std::uint64_t time, double value) {
  if (generation_ == 0) beginCounter(file, time);
  ShortPacket packet(file, time, id_);
  packet.addVarint(event::kType, static_cast<std::uint64_t>(event::Type::Counter));
  packet.addDouble(event::kDoubleCounterValue, value);
}

void TrackSequence::count(PacketFile& file, std::uint64_t time, std::int64_t value) {
  if (generation_ == 0) beginCounter(file, time);
  ShortPacket packet(file, time, id_);
  packet.addVarint(event::kType, static_cast<std::uint64_t>(event::Type::Counter));
  packet.addVarint(event::kCounterValue, static_cast<std::uint64_t>(value));
}

}  // namespace pftrace
