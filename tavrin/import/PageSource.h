#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "tavrin/import/RandomBytes.h"
#include "tavrin/import/Recording.h"

namespace tavrin {

/// The pages of one CPU in a recording, one after the other. Only a few are in memory.
class PageSource {
 public:
  struct Page {
    std::span<const std::byte> bytes;  ///< valid until the next page is read
    bool isCut = false;                ///< its rest is missing: the last page
  };

  /// `file` is not owned.
  PageSource(RandomBytes& file, std::size_t pageSize) : file_(file), pageSize_(pageSize) {}
  PageSource(const PageSource&) = delete;
  PageSource& operator=(const PageSource&) = delete;
  virtual ~PageSource() = default;

  /// The next page; without bytes at the end, or where the recording is damaged.
  virtual Page next() = 0;
  /// Where a byte of the present page is: "offset 4711".
  virtual std::string placeOf(std::size_t position) const = 0;
  /// What is wrong where the last page is cut or a further one is missing; else empty.
  const std::string& fault() const { return fault_; }

 protected:
  RandomBytes& file_;
  const std::size_t pageSize_;
  std::string fault_;
};

/// The pages of a CPU of the buffer. `file` is not owned.
std::unique_ptr<PageSource> openPages(RandomBytes& file, const Recording& recording,
                                      const RecordedBuffer& buffer, const RecordedCpu& cpu);

}  // namespace tavrin
