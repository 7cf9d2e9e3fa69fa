#pragma once

#include <libdeflate.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hostcommon/OutputFile.h"

namespace lines {

/// A file of lines, packed as they come: members of gzip, one behind the other, each of whole
/// lines. What waits in memory is the text of one member.
class LinesFile {
 public:
  /// False with errno set on failure, for the caller to report. Call while no file is open.
  bool open(const std::string& path);
  bool isOpen() const { return file_.isOpen(); }
  /// Whether a line has come since the file was opened.
  bool hasLines() const { return hasLines_; }

  /// Appends "HEAD FIELDS TIME" as a line. `head` is the measurement with its tags.
  void add(std::string_view head, std::string_view fields, std::string_view time);

  /// Ends the file as `pwr::OutputFile::close` does: 1 when it is not complete, which has been
  /// told.
  int close();
  void discard();

 private:
  // As large as makes no difference to what is gained any more.
  static constexpr std::size_t kMemberText = std::size_t{256} * 1024;

  struct Release {
    void operator()(libdeflate_compressor* compressor) const {
      libdeflate_free_compressor(compressor);
    }
  };

  void pack();

  std::unique_ptr<libdeflate_compressor, Release> compressor_;
  pwr::OutputFile file_;
  std::string text_;
  std::vector<char> packed_;
  bool hasLines_ = false;
};

}  // namespace lines
