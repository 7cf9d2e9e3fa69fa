#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "packing/Packing.h"
#include "tavrin/platform/ByteSource.h"

namespace tavrin {

/// What is packed in another input. Where that ends within a frame, this ends with what can be
/// unpacked of it.
class UnpackedSource final : public ByteSource {
 public:
  /// `unpacker`: of the packing with which `packed` begins.
  UnpackedSource(std::unique_ptr<ByteSource> packed, std::unique_ptr<Unpacker> unpacker)
      : packed_(std::move(packed)), unpacker_(std::move(unpacker)) {}

  long long read(char* buffer, std::size_t size) override;
  std::string readError() const override;
  bool isStopped() const override { return packed_->isStopped(); }
  bool isLive() const override { return packed_->isLive(); }
  const std::string& name() const override { return packed_->name(); }
  /// No file has these bytes.
  std::string path() const override { return {}; }

 private:
  static constexpr std::size_t kBufferSize = 65536;

  bool isAtPadding() const;

  const std::unique_ptr<ByteSource> packed_;
  const std::unique_ptr<Unpacker> unpacker_;
  std::string buffer_ = std::string(kBufferSize, '\0');
  std::string_view unread_;  ///< of the buffer
  bool isDamaged_ = false;
};

}  // namespace tavrin
