#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// Ways to pack bytes. Packed bytes are frames one behind the other, each of which can be unpacked
/// without the others.
enum class Packing { Gzip, Zstd };

/// What bytes that begin so are packed with; nothing when they are not packed.
std::optional<Packing> packingOfContent(std::string_view head);
/// Whether bytes that begin so may turn out to be packed when more of them have come.
bool mayBePacked(std::string_view head);
/// What a file is to be packed with by the ending of its name: ".gz", ".zst"; nothing without one.
std::optional<Packing> packingOfName(std::string_view name);
/// The ending of such names.
const char* packedEnding(Packing packing);
/// A name without the ending that tells so.
std::string_view withoutPacking(std::string_view name);
/// "", or why this build can neither pack nor unpack so.
std::string whyNotPacked(Packing packing);

class Packer {
 public:
  Packer() = default;
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;
  virtual ~Packer() = default;

  /// Packs the bytes and appends to `packed` what is ready of them. Returns 0, or 1 when memory or
  /// the library fails.
  virtual int pack(std::string_view bytes, std::string& packed) = 0;
  /// Ends the frame, and appends what is left of it; without bytes there is none. Likewise.
  virtual int endFrame(std::string& packed) = 0;
};

class Unpacker {
 public:
  Unpacker() = default;
  Unpacker(const Unpacker&) = delete;
  Unpacker& operator=(const Unpacker&) = delete;
  virtual ~Unpacker() = default;

  /// Unpacks into `room` what fits there, and removes from `packed` what it has taken. Returns how
  /// many bytes there are now, or -1 when the packed bytes are damaged. Without any of them more
  /// has to come.
  virtual long long unpack(std::string_view& packed, char* room, std::size_t size) = 0;
  /// Whether the last frame has ended and none has begun.
  virtual bool isBetweenFrames() const = 0;
};

/// Null where the build does not have the packing.
std::unique_ptr<Packer> createPacker(Packing packing);
std::unique_ptr<Unpacker> createUnpacker(Packing packing);

/// Unpacks up to `most` bytes. They are fewer where the packed bytes end before or are damaged, and
/// none where the build does not have the packing. What is there takes memory, not what is asked
/// for.
std::vector<std::byte> unpackUpTo(std::size_t most, Packing packing, std::string_view packed);

}  // namespace tavrin
