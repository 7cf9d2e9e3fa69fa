#include "packing/Gzip.h"

#if defined(PW_ZLIB)

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace tavrin {

namespace {

constexpr int kGzipWindow = 15 + 16;  // the largest one, with the header of gzip
constexpr int kMemoryLevel = 8;       // zlib's own choice

/// zlib does not change what it reads, and counts bytes in `uInt`.
Bytef* bytesOf(const char* text) {
  return reinterpret_cast<Bytef*>(const_cast<char*>(text));
}
uInt countOf(std::size_t size) {
  return static_cast<uInt>(std::min<std::size_t>(size, std::numeric_limits<uInt>::max()));
}

class GzipPacker final : public Packer {
 public:
  GzipPacker() {
    isMade_ = deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kMemoryLevel,
                           Z_DEFAULT_STRATEGY) == Z_OK;
  }
  ~GzipPacker() override { deflateEnd(&stream_); }

  int pack(std::string_view bytes, std::string& packed) override {
    hasBytes_ = hasBytes_ || !bytes.empty();
    return add(bytes, Z_NO_FLUSH, packed);
  }
  int endFrame(std::string& packed) override {
    if (!hasBytes_) return 0;
    hasBytes_ = false;
    return add({}, Z_FINISH, packed) == 0 && deflateReset(&stream_) == Z_OK ? 0 : 1;
  }

 private:
  int add(std::string_view bytes, int flush, std::string& packed) {
    if (!isMade_) return 1;
    char room[16384];
    for (;;) {
      const uInt given = countOf(bytes.size());
      stream_.next_in = bytesOf(bytes.data());
      stream_.avail_in = given;
      stream_.next_out = bytesOf(room);
      stream_.avail_out = sizeof room;
      const int status = deflate(&stream_, flush);
      if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) return 1;
      bytes.remove_prefix(given - stream_.avail_in);
      packed.append(room, sizeof room - stream_.avail_out);
      if (bytes.empty() && stream_.avail_out > 0) return 0;
    }
  }

  z_stream stream_{};
  bool isMade_ = false;
  bool hasBytes_ = false;
};

class GzipUnpacker final : public Unpacker {
 public:
  GzipUnpacker() { isMade_ = inflateInit2(&stream_, kGzipWindow) == Z_OK; }
  ~GzipUnpacker() override { inflateEnd(&stream_); }

  long long unpack(std::string_view& packed, char* room, std::size_t size) override {
    if (!isMade_) return -1;
    const uInt given = countOf(packed.size());
    const uInt wanted = countOf(size);
    stream_.next_in = bytesOf(packed.data());
    stream_.avail_in = given;
    stream_.next_out = bytesOf(room);
    stream_.avail_out = wanted;
    const int status = inflate(&stream_, Z_NO_FLUSH);
    if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) return -1;
    const uInt taken = given - stream_.avail_in;
    packed.remove_prefix(taken);
    if (taken > 0) isBetweenFrames_ = status == Z_STREAM_END;
    if (status == Z_STREAM_END && inflateReset(&stream_) != Z_OK) return -1;
    return wanted - stream_.avail_out;
  }
  bool isBetweenFrames() const override { return isBetweenFrames_; }

 private:
  z_stream stream_{};
  bool isMade_ = false;
  bool isBetweenFrames_ = true;
};

}  // namespace

std::unique_ptr<Packer> createGzipPacker() {
  return std::make_unique<GzipPacker>();
}

std::unique_ptr<Unpacker> createGzipUnpacker() {
  return std::make_unique<GzipUnpacker>();
}

}  // namespace tavrin

#else

namespace tavrin {

std::unique_ptr<Packer> createGzipPacker() {
  return nullptr;
}

std::unique_ptr<Unpacker> createGzipUnpacker() {
  return nullptr;
}

}  // namespace tavrin

#endif
