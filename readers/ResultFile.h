#pragma once

#include <array>
#include <fstream>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "packing/Packing.h"

namespace tavrin {

/// The formats that can be read back.
enum class ResultFormat {
  BinaryStream,  ///< ".ztbin", of a whole run or numbered
  JsonTrace,     ///< ".ztjson" of a whole run
  NumberedJson,  ///< ".ztjson", a file of a continuous run
  Timeline,      ///< ".pwr"
};

/// The format of a file that begins with `head`, by its content; none where it is unlike all of
/// them. A few hundred bytes are enough, a shorter file has fewer.
std::optional<ResultFormat> formatOf(std::string_view head);

/// A file of a run, open for reading; one that is packed (gzip, zstd) is unpacked. Its first bytes
/// can be looked at also where it is a pipe, which can be read only once.
class ResultFile {
 public:
  /// `name` is UTF-8 on every system. Throws std::runtime_error: "cannot read NAME: cause".
  explicit ResultFile(const std::string& name);
  /// A file whose bytes come from elsewhere. `bytes` is not owned; what it throws where it cannot
  /// read is the cause of the fault then.
  ResultFile(std::string name, std::streambuf& bytes);

  const std::string& name() const { return name_; }
  /// By its content; by the ending of its name where the content tells nothing, so that a damaged
  /// file is read as what it was meant to be. Throws std::runtime_error where neither tells.
  ResultFormat format();
  /// The first bytes, fewer of a shorter file. Only before anything is read from the stream.
  std::string_view head() { return buffer_.head(); }
  /// The content, from the beginning unless it has been read before.
  std::istream& stream() { return stream_; }

 private:
  /// A buffer that is filled before it is read.
  class Buffer : public std::streambuf {
   public:
    /// False with errno set when that fails. Throws std::runtime_error, the cause, for a file that
    /// cannot be unpacked.
    bool open(const std::string& name);
    void readFrom(std::streambuf& source) { source_ = &source; }
    std::string_view head();

   protected:
    int_type underflow() override;

   private:
    /// What is packed in the file.
    class Unpacked : public std::streambuf {
     public:
      /// `head`: what has been read of the file.
      Unpacked(std::string name, std::filebuf& file, std::unique_ptr<Unpacker> unpacker,
               std::string_view head)
          : name_(std::move(name)), file_(file), unpacker_(std::move(unpacker)) {
        unread_ = {packed_.data(), head.copy(packed_.data(), packed_.size())};
      }

     protected:
      int_type underflow() override;

     private:
      [[noreturn]] void refuse(const char* cause) const;

      const std::string name_;
      std::filebuf& file_;
      std::unique_ptr<Unpacker> unpacker_;
      std::array<char, 65536> packed_{};
      std::string_view unread_;  ///< of `packed_`
      std::array<char, 65536> bytes_{};
    };

    std::filebuf file_;
    std::unique_ptr<Unpacked> unpacked_;  ///< null where nothing is packed
    std::streambuf* source_ = &file_;
    std::array<char, 65536> bytes_{};
  };

  std::string name_;
  Buffer buffer_;
  std::istream stream_{&buffer_};
};

}  // namespace tavrin
