#include "readers/ResultFile.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "formats/pwr_format.h"
#include "formats/ztbin_format.h"
#include "formats/ztjson_format.h"
#include "hostcommon/Utf8Path.h"

namespace tavrin {

namespace {

std::uint32_t little(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint32_t number = 0;
  for (std::size_t i = width; i-- > 0;) {
    number = number << 8U | static_cast<unsigned char>(bytes[at + i]);
  }
  return number;
}

bool isTimeline(std::string_view head) {
  return head.size() >= pwrfile::magic_record::kSize &&
         little(head, 0, 4) == pwrfile::magic_record::kMark &&
         little(head, 4, 4) == pwrfile::magic_record::kMagic;
}

/// Whether the bytes begin with a string record or with a system record, of which one begins every
/// file. The format has no magic number, but a string record has its length twice, and a zero.
bool isBinaryStream(std::string_view head) {
  namespace string = ztbin::string_record;
  if (head.size() < string::kText) return false;
  const std::size_t size = little(head, 0, 2);
  const auto type = static_cast<ztbin::RecordType>(head[ztbin::kTypeOffset]);
  if (type == ztbin::RecordType::System) {
    return size + ztbin::kHeaderSize == ztbin::system_record::kSize;
  }
  return type == ztbin::RecordType::String && size >= string::kBodyOverhead &&
         little(head, string::kLowLength, 1) == (size - string::kBodyOverhead) % 256 &&
         head[string::kPadding] == '\0' && little(head, string::kIndex, 2) != 0;
}

/// The first key of a JSON object, empty where there is none.
std::string_view firstKey(std::string_view text) {
  constexpr const char* kBlanks = " \t\r\n";
  const auto skip = [&](char wanted) {
    const std::size_t at = text.find_first_not_of(kBlanks);
    if (at == std::string_view::npos || text[at] != wanted) return false;
    text.remove_prefix(at + 1);
    return true;
  };
  if (!skip('{') || !skip('"')) return {};
  const std::size_t end = text.find('"');
  return end == std::string_view::npos ? std::string_view() : text.substr(0, end);
}

std::optional<ResultFormat> formatOfName(const std::string& name) {
  const std::string_view unpacked = withoutPacking(name);
  if (unpacked.ends_with(".ztbin")) return ResultFormat::BinaryStream;
  if (unpacked.ends_with(".ztjson")) return ResultFormat::JsonTrace;
  if (unpacked.ends_with(".pwr")) return ResultFormat::Timeline;
  return std::nullopt;
}

}  // namespace

std::optional<ResultFormat> formatOf(std::string_view head) {
  if (isTimeline(head)) return ResultFormat::Timeline;
  if (isBinaryStream(head)) return ResultFormat::BinaryStream;
  const std::string_view key = firstKey(head);
  if (key == ztjson::trace::kFileType) return ResultFormat::JsonTrace;
  if (key == ztjson::numbered::kMetadata) return ResultFormat::NumberedJson;
  return std::nullopt;
}

bool ResultFile::Buffer::open(const std::string& name) {
  if (file_.open(pwr::pathFromUtf8(name), std::ios::in | std::ios::binary) == nullptr) return false;
  const auto packing = packingOfContent(head());
  if (!packing) return true;
  const std::string reason = whyNotPacked(*packing);
  if (!reason.empty()) throw std::runtime_error("it is packed, and " + reason);
  unpacked_ = std::make_unique<Unpacked>(name, file_, createUnpacker(*packing), head());
  readFrom(*unpacked_);
  setg(nullptr, nullptr, nullptr);
  return true;
}

void ResultFile::Buffer::Unpacked::refuse(const char* cause) const {
  throw std::runtime_error("cannot read " + name_ + ": " + cause);
}

/// What is thrown here makes the stream bad that reads.
ResultFile::Buffer::int_type ResultFile::Buffer::Unpacked::underflow() {
  long long count = 0;
  while (count == 0) {
    if (unread_.empty()) {
      const auto size = static_cast<std::streamsize>(packed_.size());
      unread_ = {packed_.data(), static_cast<std::size_t>(file_.sgetn(packed_.data(), size))};
      if (unread_.empty() && unpacker_->isBetweenFrames()) return traits_type::eof();
      if (unread_.empty()) refuse("what is packed in it is cut off");
    }
    const std::size_t before = unread_.size();
    count = unpacker_->unpack(unread_, bytes_.data(), bytes_.size());
    if (count < 0 || (count == 0 && unread_.size() == before)) {
      refuse("what is packed in it is damaged");
    }
  }
  setg(bytes_.data(), bytes_.data(), bytes_.data() + count);
  return traits_type::to_int_type(bytes_.front());
}

std::string_view ResultFile::Buffer::head() {
  if (gptr() == nullptr) underflow();
  return {gptr(), static_cast<std::size_t>(egptr() - gptr())};
}

/// What is thrown here makes the stream bad that reads.
ResultFile::Buffer::int_type ResultFile::Buffer::underflow() {
  const auto size = static_cast<std::streamsize>(bytes_.size());
  setg(bytes_.data(), bytes_.data(), bytes_.data() + source_->sgetn(bytes_.data(), size));
  return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

ResultFile::ResultFile(const std::string& name) : name_(name) {
  std::error_code ignored;
  const auto refuse = [&](const std::string& cause) {
    throw std::runtime_error("cannot read " + name + ": " + cause);
  };
  if (std::filesystem::is_directory(pwr::pathFromUtf8(name), ignored)) refuse("it is a folder");
  errno = 0;
  bool isOpen = false;
  try {
    isOpen = buffer_.open(name);
  } catch (const std::runtime_error& fault) {
    refuse(fault.what());
  }
  if (!isOpen) refuse(std::generic_category().message(errno));
}

ResultFile::ResultFile(std::string name, std::streambuf& bytes) : name_(std::move(name)) {
  buffer_.readFrom(bytes);
}

ResultFormat ResultFile::format() {
  if (const auto format = formatOf(head())) return *format;
  if (const auto format = formatOfName(name_)) return *format;
  throw std::runtime_error(name_ + ": its content is none of .ztbin, .ztjson and .pwr");
}

}  // namespace tavrin
