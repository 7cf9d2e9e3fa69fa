#include "packing/Packing.h"

#include <algorithm>

#include "packing/Gzip.h"
#include "packing/Zstd.h"

namespace tavrin {

namespace {

/// By which a packing is known, and what makes its parts: null where the build has no library.
struct Known {
  Packing packing;
  std::string_view beginning;  // of every frame
  const char* ending;          // of names
  const char* library;
  std::unique_ptr<Packer> (*packer)();
  std::unique_ptr<Unpacker> (*unpacker)();
};
constexpr Known kKnown[] = {
    {Packing::Gzip, "\x1F\x8B", ".gz", "zlib", createGzipPacker, createGzipUnpacker},
    {Packing::Zstd, "\x28\xB5\x2F\xFD", ".zst", "libzstd", createZstdPacker, createZstdUnpacker},
};

const Known& known(Packing packing) {
  return *std::ranges::find(kKnown, packing, &Known::packing);
}

template <typename Matches>
std::optional<Packing> find(const Matches& matches) {
  const auto* const found = std::ranges::find_if(kKnown, matches);
  return found == std::end(kKnown) ? std::nullopt : std::optional(found->packing);
}

}  // namespace

std::optional<Packing> packingOfContent(std::string_view head) {
  return find([&](const Known& known) { return head.starts_with(known.beginning); });
}

bool mayBePacked(std::string_view head) {
  return find([&](const Known& known) { return known.beginning.starts_with(head); }).has_value();
}

std::optional<Packing> packingOfName(std::string_view name) {
  return find([&](const Known& known) { return name.ends_with(known.ending); });
}

const char* packedEnding(Packing packing) {
  return known(packing).ending;
}

std::string_view withoutPacking(std::string_view name) {
  const auto packing = packingOfName(name);
  if (packing) name.remove_suffix(std::string_view(packedEnding(*packing)).size());
  return name;
}

std::string whyNotPacked(Packing packing) {
  if (createUnpacker(packing) != nullptr) return {};
  return std::string("this tool was built without ") + known(packing).library;
}

std::unique_ptr<Packer> createPacker(Packing packing) {
  return known(packing).packer();
}

std::unique_ptr<Unpacker> createUnpacker(Packing packing) {
  return known(packing).unpacker();
}

std::vector<std::byte> unpackUpTo(std::size_t most, Packing packing, std::string_view packed) {
  constexpr std::size_t kPiece = 65536;
  const std::unique_ptr<Unpacker> unpacker = createUnpacker(packing);
  std::vector<std::byte> bytes;
  for (long long added = 1; unpacker != nullptr && added > 0 && bytes.size() < most;) {
    const std::size_t known = bytes.size();
    bytes.resize(std::min(known + std::max(kPiece, known), most));
    added = unpacker->unpack(packed, reinterpret_cast<char*>(bytes.data()) + known,
                             bytes.size() - known);
    bytes.resize(known + static_cast<std::size_t>(std::max(added, 0LL)));
  }
  return bytes;
}

}  // namespace tavrin
