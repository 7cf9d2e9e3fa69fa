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

  /// Valid until the next `add`. The pieces of a list are far apart: while one is gone through, the
  /// processor fetches the next.
  class Iterator {
   public:
    const Value& operator*() const { return piece_[0][place_]; }
    const Value* operator->() const { return &**this; }
    Iterator& operator++() {
      place_ = (place_ + 1) % kPerPiece;
      if (place_ == 0) enter(piece_ + 1);
      __builtin_prefetch(next_ + place_);
      return *this;
    }
    bool operator==(const Iterator& other) const {
      return piece_ == other.piece_ && place_ == other.place_;
    }

   private:
    friend class PointList;
    Iterator(const PointList& list, std::size_t index)
        : end_(list.pieces_.data() + list.pieces_.size()), place_(index % kPerPiece) {
      enter(list.pieces_.data() + index / kPerPiece);
    }
    void enter(const Value* const* piece) {
      piece_ = piece;
      // Where there is no next one, this one is here already.
      if (piece != end_) next_ = piece + 1 != end_ ? piece[1] : piece[0];
    }

    const Value* const* piece_;
    const Value* const* end_;
    const Value* next_ = nullptr;
    std::size_t place_;
  };
  Iterator begin() const { return {*this, 0}; }
  Iterator end() const { return {*this, size_}; }

 private:
  static constexpr std::size_t kPerPiece = 16;

  RecordBlocks& memory_;
  std::vector<Value*> pieces_;
  std::size_t size_ = 0;
};
