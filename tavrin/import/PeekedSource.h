#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tavrin/platform/ByteSource.h"

namespace tavrin {

/// An input whose first bytes can be looked at before they are read, also of a pipe.
class PeekedSource final : public ByteSource {
 public:
  /// So many of the first bytes can be looked at.
  static constexpr std::size_t kMostHead = 16384;

  explicit PeekedSource(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}

  /// What has come so far; empty until the first `peekMore`. Not after the first `read`.
  std::string_view head() const { return head_; }
  /// Waits for the next bytes and adds them to the head, so that what a program has written can be
  /// recognised before it writes more. Returns false when nothing is added: the input ends there or
  /// cannot be read, a stop has ended it, or the head is full.
  bool peekMore();
  /// Whether the input has ended without a byte: it was read, and no stop ended it.
  bool isEmpty() const { return head_.empty() && hasEnded_ && !isStopped(); }

  long long read(char* buffer, std::size_t size) override;
  std::string readError() const override { return source_->readError(); }
  bool isStopped() const override { return source_->isStopped(); }
  bool isLive() const override { return source_->isLive(); }
  const std::string& name() const override { return source_->name(); }
  std::string path() const override { return source_->path(); }

 private:
  const std::unique_ptr<ByteSource> source_;
  std::string head_;
  bool hasEnded_ = false;
  std::size_t read_ = 0;  ///< of the head
};

}  // namespace tavrin
