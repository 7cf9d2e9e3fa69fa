// Feeds arbitrary bytes to the reader of binary streams. It may reject them; it may not crash, read
// outside of them, or hand out a point whose references lead nowhere.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "readers/ZtbinReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream file(std::string(data, data + size));
  ztbin::ZtbinReader reader;
  std::size_t textLength = 0;
  try {
    reader.readFile(file, [&](const ztbin::Point& point) {
      textLength += reader.text(point.key).size();
      textLength += reader.text(reader.descriptor(point.descriptor).name).size();
      if (!reader.metrics().contains(point.metric)) std::abort();
    });
  } catch (const FormatError&) {
    return 0;
  }
  return textLength > SIZE_MAX / 2 ? -1 : 0;
}
