#include "tavrin/import/ZstdPack.h"

#include <algorithm>
#include <memory>

#if defined(PW_ZSTD)
#include <zstd.h>
#endif

namespace tavrin {

#if defined(PW_ZSTD)

std::string whyNoZstd() {
  return {};
}

std::vector<std::byte> unpackZstd(std::span<const std::byte> packed, std::size_t most) {
  constexpr std::size_t kPiece = 64U << 10U;
  const std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> context(ZSTD_createDCtx(),
                                                                     &ZSTD_freeDCtx);
  std::vector<std::byte> bytes;
  ZSTD_inBuffer input{packed.data(), packed.size(), 0};
  bool goesOn = context != nullptr;
  while (goesOn && bytes.size() < most) {
    const std::size_t known = bytes.size();
    bytes.resize(std::min(known + std::max(kPiece, known), most));
    ZSTD_outBuffer output{bytes.data(), bytes.size(), known};
    const std::size_t status = ZSTD_decompressStream(context.get(), &output, &input);
    goesOn = ZSTD_isError(status) == 0 && output.pos > known;
    bytes.resize(output.pos);
  }
  return bytes;
}

#else

std::string whyNoZstd() {
  return "this tool was built without libzstd";
}

std::vector<std::byte> unpackZstd(std::span<const std::byte> /*packed*/, std::size_t /*most*/) {
  return {};
}

#endif

}  // namespace tavrin
