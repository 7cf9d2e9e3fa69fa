#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

/// Packs the bytes of the points as they come.
class DataPacker {
 public:
  /// No more than about `most` packed bytes are kept: what needs more cannot be used.
  explicit DataPacker(std::size_t most);
  ~DataPacker();
  DataPacker(const DataPacker&) = delete;
  DataPacker& operator=(const DataPacker&) = delete;

  /// The value of "packing" in the document.
  static const char* packing();

  void add(std::string_view bytes);
  /// Adds zeros up to the next multiple of `alignment`.
  void align(std::size_t alignment);
  /// Of the bytes that were added.
  std::size_t size() const { return size_; }
  /// Whether it needed more than it may, or failed.
  bool isFull() const;
  /// The packed bytes; nothing is added from then on.
  std::string finish();

 private:
  struct Stream;

  const std::size_t most_;
  std::size_t size_ = 0;
  std::string packed_;
  std::unique_ptr<Stream> stream_;
};
