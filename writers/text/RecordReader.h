#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

/// Reads the records of a temporary table file in order. A record is a 32-bit length in the
/// machine's byte order and that many bytes of text.
///
/// Memory stays within twice the largest record, and a fixed amount: the file is read in chunks, of
/// a record that a chunk cuts off the start goes on to the next one, and the chunk grows only when
/// a single record needs it.
class RecordReader {
 public:
  RecordReader() = default;
  ~RecordReader();
  RecordReader(const RecordReader&) = delete;
  RecordReader& operator=(const RecordReader&) = delete;

  /// Once, first. False when there is nothing to read from; the cause is logged.
  bool open(const std::string& path);

  /// Points `record` to the text of the next record, valid until the next call. False at the end
  /// of the file and after a failure.
  bool next(std::string_view& record);

  /// True when records may be missing; the cause is logged.
  bool hasFailed() const { return failed_; }

 private:
  bool refill(std::size_t needed);
  void tellRewinding() const;
  bool allocate(std::size_t size, const char* complaint);
  bool readChunk();

  std::string path_;
  FILE* file_ = nullptr;
  std::unique_ptr<char[]> chunk_;
  std::size_t capacity_ = 0;
  std::size_t filled_ = 0;
  std::size_t position_ = 0;
  bool atEnd_ = false;
  bool failed_ = false;
};
