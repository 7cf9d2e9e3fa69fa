#pragma once

#include <rapidjson/document.h>

#include <cstddef>
#include <cstdlib>
#include <new>

#include "tavrin/stream/StreamError.h"

namespace tavrin {

/// Where RapidJSON gets memory for a line from: it would go on with a null pointer. Throws
/// std::bad_alloc when there is none, and StreamError when one line takes more than it may.
class JsonMemory {
 public:
  // The tree of a line takes up to twenty times as much as its text.
  static constexpr std::size_t kMostPerLine = std::size_t{512} << 20U;

  explicit JsonMemory(std::size_t mostPerLine = kMostPerLine) : mostPerLine_(mostPerLine) {}

  static constexpr bool kNeedFree = true;

  /// To be called before each line.
  void startLine() { taken_ = 0; }

  void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }
  void* Realloc(void* block, std::size_t oldSize, std::size_t size) {
    if (size == 0) {
      Free(block);
      return nullptr;
    }
    if (size > oldSize) taken_ += size - oldSize;
    if (taken_ > mostPerLine_) throw StreamError("the line holds too many values");
    void* const moved = std::realloc(block, size);
    if (moved == nullptr) throw std::bad_alloc();
    return moved;
  }
  static void Free(void* block) { std::free(block); }

 private:
  std::size_t mostPerLine_;
  std::size_t taken_ = 0;
};

namespace json {

using Pool = rapidjson::MemoryPoolAllocator<JsonMemory>;
using Value = rapidjson::GenericValue<rapidjson::UTF8<>, Pool>;
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, Pool, JsonMemory>;

}  // namespace json

}  // namespace tavrin
