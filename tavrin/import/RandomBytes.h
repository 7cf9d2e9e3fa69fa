#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace tavrin {

/// Bytes that can be read at any place.
class RandomBytes {
 public:
  RandomBytes() = default;
  RandomBytes(const RandomBytes&) = delete;
  RandomBytes& operator=(const RandomBytes&) = delete;
  virtual ~RandomBytes() = default;

  virtual std::uint64_t size() const = 0;
  /// Reads as many bytes as there is room for, which have to be there. Throws FormatError.
  virtual void read(std::uint64_t offset, std::span<std::byte> bytes) = 0;
};

class FileBytes : public RandomBytes {
 public:
  /// Throws CommandError when the file cannot be opened.
  explicit FileBytes(const std::string& path);

  std::uint64_t size() const override { return size_; }
  void read(std::uint64_t offset, std::span<std::byte> bytes) override;

 private:
  std::ifstream file_;
  std::uint64_t size_ = 0;
};

class MemoryBytes final : public RandomBytes {
 public:
  explicit MemoryBytes(std::vector<std::byte> bytes) : bytes_(std::move(bytes)) {}

  std::uint64_t size() const override { return bytes_.size(); }
  void read(std::uint64_t offset, std::span<std::byte> bytes) override;

 private:
  std::vector<std::byte> bytes_;
};

}  // namespace tavrin
