#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "tavrin/decoding/EventDecoder.h"
#include "tavrin/decoding/EventFormat.h"

namespace tavrin {

/// Numbers and texts one behind the other, as a machine of some byte order has them.
class Bytes {
 public:
  explicit Bytes(std::endian order = std::endian::native) : order_(order) {}

  template <typename Number>
  Bytes& put(Number number) {
    const auto* const bytes = reinterpret_cast<const std::byte*>(&number);
    content.insert(content.end(), bytes, bytes + sizeof number);
    if (order_ != std::endian::native) std::reverse(content.end() - sizeof number, content.end());
    return *this;
  }
  Bytes& text(const std::string& text, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) put(i < text.size() ? text[i] : '\0');
    return *this;
  }
  Bytes& text(const std::string& text) { return this->text(text, text.size()); }
  Bytes& add(const Bytes& other) {
    content.insert(content.end(), other.content.begin(), other.content.end());
    return *this;
  }
  /// A number of the size of that machine's `long`.
  Bytes& putLong(std::uint64_t number, std::size_t size) {
    return size == 4 ? put(static_cast<std::uint32_t>(number)) : put(number);
  }
  /// What every event begins with.
  static Bytes event(std::uint16_t id, std::int32_t pid, std::endian order = std::endian::native) {
    return Bytes(order).put(id).put(std::uint16_t{0}).put(pid);
  }
  bool isBig() const { return order_ == std::endian::big; }

  std::vector<std::byte> content;

 private:
  std::endian order_;
};

/// A "format" file, as Documentation/trace/events.rst shows them.
inline std::string formatText(const std::string& name, int id, const std::string& fields) {
  return "name: " + name + "\nID: " + std::to_string(id) +
         "\nformat:\n"
         "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
         "\tfield:unsigned char common_flags;\toffset:2;\tsize:1;\tsigned:0;\n"
         "\tfield:unsigned char common_preempt_count;\toffset:3;\tsize:1;\tsigned:0;\n"
         "\tfield:int common_pid;\toffset:4;\tsize:4;\tsigned:1;\n\n" +
         fields + "\nprint fmt: \"%d\", REC->common_pid\n";
}

inline std::string idleFormat() {
  return formatText("cpu_idle", 20,
                    "\tfield:u32 state;\toffset:8;\tsize:4;\tsigned:0;\n"
                    "\tfield:u32 cpu_id;\toffset:12;\tsize:4;\tsigned:0;\n");
}

inline Bytes idleEvent(std::uint32_t cpu, std::uint32_t state,
                       std::endian order = std::endian::native) {
  return Bytes::event(20, 0, order).put(state).put(cpu);
}

/// Adds a known event to the decoder, as the text of its format has it.
inline int addFormat(EventDecoder& decoder, const std::string& name, const std::string& text) {
  for (const KnownEvent& event : knownEvents()) {
    if (event.name != name) continue;
    const auto format = EventFormat::parse(text, sizeof(long));
    return format ? decoder.add(event, *format) : 1;
  }
  std::abort();
}

/// The word that a record of a trace buffer begins with (include/linux/ring_buffer.h).
inline std::uint32_t recordWord(std::uint32_t type, std::uint32_t delta, std::endian order) {
  return order == std::endian::big ? type << 27U | delta : type | delta << 5U;
}

/// A record with the event, that long after the record before.
inline Bytes recordOf(std::uint32_t delta, const Bytes& event,
                      std::endian order = std::endian::native) {
  const auto words = static_cast<std::uint32_t>(event.content.size() / 4);
  return Bytes(order).put(recordWord(words, delta, order)).add(event);
}

struct PageShape {
  std::endian order = std::endian::native;
  std::size_t longSize = sizeof(long);
  std::size_t size = 4096;
};

/// A page of a trace buffer: its time, how much of it is used, and records.
inline Bytes pageOf(std::uint64_t time, const Bytes& records, std::uint64_t flags = 0,
                    const PageShape& shape = {}) {
  Bytes page = Bytes(shape.order).put(time);
  page.putLong(records.content.size() | flags, shape.longSize).add(records);
  page.content.resize(shape.size);
  return page;
}
inline constexpr std::uint64_t kMissedEvents = 1ULL << 31U;
inline constexpr std::uint64_t kMissedStored = 1ULL << 30U;

}  // namespace tavrin
