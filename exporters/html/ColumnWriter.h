#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "exporters/html/DataPacker.h"

/// Lays columns of numbers out in the points of the page. Each operation returns the column's
/// description, a JSON object.
class ColumnWriter {
 public:
  explicit ColumnWriter(DataPacker& packer) : packer_(packer) {}

  /// Calls `forEach(visit)` several times, which calls `visit` with every number of the column: the
  /// numbers take the narrowest form that has all of them exactly. A column that equals the one
  /// before of the same `kind` is not stored again.
  using Visit = std::function<void(double)>;
  std::string numbers(std::string_view kind, const std::function<void(const Visit&)>& forEach);
  std::string bytes(std::span<const std::uint8_t> numbers);
  std::string words(std::span<const std::uint16_t> numbers);

 private:
  struct Column {
    std::string bytes;
    std::string description;
  };
  std::string put(std::string_view bytes, const char* type, std::size_t count, std::size_t width);

  DataPacker& packer_;
  std::string lastStarts_;
  std::string scratch_;
  std::vector<std::pair<std::string, Column>> last_;  // by kind
};
