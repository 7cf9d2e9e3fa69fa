#include "readers/BinaryRecord.h"

std::size_t BinaryRecord::read(std::size_t at, std::size_t count) {
  file_.read(reinterpret_cast<char*>(bytes_.data() + at), static_cast<std::streamsize>(count));
  if (file_.bad()) throw FormatError(start_ + at, "more bytes", "a file that cannot be read");
  return static_cast<std::size_t>(file_.gcount());
}
