#include "packing/Zstd.h"

#if defined(PW_ZSTD)

#include <zstd.h>

#include <memory>

namespace tavrin {

namespace {

class ZstdPacker final : public Packer {
 public:
  /// Without being asked to, it would have no checksums.
  ZstdPacker() {
    if (context_ != nullptr) ZSTD_CCtx_setParameter(context_.get(), ZSTD_c_checksumFlag, 1);
  }

  int pack(std::string_view bytes, std::string& packed) override {
    hasBytes_ = hasBytes_ || !bytes.empty();
    return add(bytes, ZSTD_e_continue, packed);
  }
  int endFrame(std::string& packed) override {
    if (!hasBytes_) return 0;
    hasBytes_ = false;
    return add({}, ZSTD_e_end, packed);
  }

 private:
  int add(std::string_view bytes, ZSTD_EndDirective directive, std::string& packed) {
    if (context_ == nullptr) return 1;
    char room[16384];
    ZSTD_inBuffer input{bytes.data(), bytes.size(), 0};
    for (;;) {
      ZSTD_outBuffer output{room, sizeof room, 0};
      const std::size_t left = ZSTD_compressStream2(context_.get(), &output, &input, directive);
      if (ZSTD_isError(left) != 0) return 1;
      packed.append(room, output.pos);
      const bool isTaken = input.pos == input.size;
      if (isTaken && (directive == ZSTD_e_continue || left == 0)) return 0;
    }
  }

  std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> context_{ZSTD_createCCtx(), &ZSTD_freeCCtx};
  bool hasBytes_ = false;
};

class ZstdUnpacker final : public Unpacker {
 public:
  long long unpack(std::string_view& packed, char* room, std::size_t size) override {
    if (context_ == nullptr) return -1;
    ZSTD_inBuffer input{packed.data(), packed.size(), 0};
    ZSTD_outBuffer output{room, size, 0};
    const std::size_t status = ZSTD_decompressStream(context_.get(), &output, &input);
    if (ZSTD_isError(status) != 0) return -1;
    packed.remove_prefix(input.pos);
    if (input.pos > 0) isBetweenFrames_ = status == 0;
    return static_cast<long long>(output.pos);
  }
  bool isBetweenFrames() const override { return isBetweenFrames_; }

 private:
  std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> context_{ZSTD_createDCtx(), &ZSTD_freeDCtx};
  bool isBetweenFrames_ = true;
};

}  // namespace

std::unique_ptr<Packer> createZstdPacker() {
  return std::make_unique<ZstdPacker>();
}

std::unique_ptr<Unpacker> createZstdUnpacker() {
  return std::make_unique<ZstdUnpacker>();
}

}  // namespace tavrin

#else

namespace tavrin {

std::unique_ptr<Packer> createZstdPacker() {
  return nullptr;
}

std::unique_ptr<Unpacker> createZstdUnpacker() {
  return nullptr;
}

}  // namespace tavrin

#endif
