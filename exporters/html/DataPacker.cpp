#include "exporters/html/DataPacker.h"

#include <algorithm>
#include <array>
#include <limits>

#if defined(PW_ZLIB)

#include <zlib.h>

struct DataPacker::Stream {
  Stream() { isGood = deflateInit(&state, Z_DEFAULT_COMPRESSION) == Z_OK; }
  ~Stream() { deflateEnd(&state); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  void pack(std::string_view bytes, int flush, std::string& packed) {
    std::array<char, 0x4000> room;
    do {
      const auto given =
          static_cast<uInt>(std::min<std::size_t>(bytes.size(), std::numeric_limits<uInt>::max()));
      // zlib does not change what it reads.
      state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
      state.avail_in = given;
      state.next_out = reinterpret_cast<Bytef*>(room.data());
      state.avail_out = static_cast<uInt>(room.size());
      const int status = deflate(&state, flush);
      isGood = isGood && (status == Z_OK || status == Z_STREAM_END || status == Z_BUF_ERROR);
      bytes.remove_prefix(given - state.avail_in);
      packed.append(room.data(), room.size() - state.avail_out);
    } while (isGood && (!bytes.empty() || state.avail_out == 0));
  }

  z_stream state{};
  bool isGood = false;
};

const char* DataPacker::packing() {
  return "deflate";
}

void DataPacker::add(std::string_view bytes) {
  size_ += bytes.size();
  if (!isFull()) stream_->pack(bytes, Z_NO_FLUSH, packed_);
}

std::string DataPacker::finish() {
  if (!isFull()) stream_->pack({}, Z_FINISH, packed_);
  return std::move(packed_);
}

#else

struct DataPacker::Stream {
  bool isGood = true;
};

const char* DataPacker::packing() {
  return "none";
}

void DataPacker::add(std::string_view bytes) {
  size_ += bytes.size();
  if (!isFull()) packed_.append(bytes);
}

std::string DataPacker::finish() {
  return std::move(packed_);
}

#endif

DataPacker::DataPacker(std::size_t most) : most_(most), stream_(std::make_unique<Stream>()) {}
DataPacker::~DataPacker() = default;

bool DataPacker::isFull() const {
  return !stream_->isGood || packed_.size() > most_;
}

void DataPacker::align(std::size_t alignment) {
  constexpr std::array<char, 8> kZeros{};
  const std::size_t missing = (alignment - size_ % alignment) % alignment;
  add({kZeros.data(), missing});
}
