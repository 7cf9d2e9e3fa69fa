#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "exporters/perfetto/NameTable.h"
#include "hostcommon/OutputFile.h"
#include "writers/common/GatheredOutput.h"

namespace pftrace {

/// The file of a trace: packets, one behind the other. They are gathered to pieces of half a
/// megabyte, which go to the file as they fill up.
class PacketFile {
 public:
  PacketFile() : output_([this](std::string_view piece) { file_.write(piece); }) {}

  /// False with errno set on failure, for the caller to report.
  bool open(const std::string& path) { return file_.open(path); }
  /// 1 when the file is not complete, which has been told.
  int close() {
    output_.drain();
    return file_.close();
  }

  /// Appends a packet.
  void add(std::string_view packet);
  /// Room for a packet of at most that size, with what stands before it. It is to be filled, and
  /// `cut` told how much of it there is, before any other call.
  static constexpr std::size_t kMostShort = 128;
  char* extend() { return output_.extend(kMostShort); }
  void cut(const char* room, const char* end) {
    output_.retract(kMostShort - static_cast<std::size_t>(end - room));
  }

  /// A number that no sequence of packets, and no track, has had yet.
  std::uint32_t newId() { return ++lastId_; }
  NameTable& names() { return names_; }
  /// Empty; for whoever puts a packet together.
  std::string& scratch() {
    scratch_.clear();
    return scratch_;
  }

 private:
  pwr::OutputFile file_;
  GatheredOutput output_;
  NameTable names_;
  std::string scratch_;
  std::uint32_t lastId_ = 0;
};

}  // namespace pftrace
