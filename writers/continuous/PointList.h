#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <vector>

#include "writers/continuous/RecordBlocks.h"

/// A list of values in memory that many lists share, each of which grows by a few values at a time:
/// neither many short lists nor a few long ones waste any, and a value costs no more than its
/// bytes.
template <typename Value>
class PointList {
  static_assert(std::is_trivially_copyable_v<Value> && std::is_trivially_destructible_v<Value>);

 public:
  /// `memory` holds the values, has pieces of this kind of list only, and must outlive the list.
  explicit PointList(RecordBlocks& memory) : memory_(memory) {}

  void add(const Value& value) {
    if (size_ % kPerPiece == 0) {
      pieces_.push_back(reinterpret_cast<Value*>(memory_.append(kPerPiece * sizeof(Value))));
    }
    ::new (pieces_.back() + size_ % kPerPiece) Value(value);
    ++size_;
  }
  bool empty() const { return size_ == 0; }
  const Value& back() const { return pieces_.back()[(size_ - 1) % kPerPiece]; }

  /// Valid until the next `add`.
  class Iterator {
   public:
    const Value& operator*() const { return piece_[0][place_]; }
    const Value* operator->() const { return &**this; }
    Iterator& operator++() {
      place_ = (place_ + 1) % kPerPiece;
      if (place_ == 0) ++piece_;
      return *this;
    }
    bool operator==(const Iterator&) const = default;

   private:
    friend class PointList;
    Iterator(const Value* const* piece, std::size_t place) : piece_(piece), place_(place) {}
    const Value* const* piece_;
    std::size_t place_;
  };
  Iterator begin() const { return {pieces_.data(), 0}; }
  Iterator end() const { return {pieces_.data() + size_ / kPerPiece, size_ % kPerPiece}; }

 private:
  static constexpr std::size_t kPerPiece = 16;

  RecordBlocks& memory_;
  std::vector<Value*> pieces_;
  std::size_t size_ = 0;
};
