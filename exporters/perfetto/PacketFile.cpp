#include "exporters/perfetto/PacketFile.h"

#include <protozero/pbf_writer.hpp>

#include "exporters/perfetto/TraceFields.h"

namespace pftrace {

void PacketFile::add(std::string_view packet) {
  std::string head;
  // As a field, but for its bytes, which need not be copied twice.
  protozero::add_varint_to_buffer(
      &head, (trace::kPacket << 3U) |
                 static_cast<std::uint32_t>(protozero::pbf_wire_type::length_delimited));
  protozero::add_varint_to_buffer(&head, packet.size());
  output_.append(head);
  output_.append(packet);
}

}  // namespace pftrace
