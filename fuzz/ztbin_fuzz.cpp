// Feeds arbitrary bytes to the reader of binary streams. It may reject them; it may not crash, read
// outside of them, or hand out a point whose references lead nowhere.

#include <cstdlib>

#include "fuzz/FuzzInput.h"
#include "readers/ZtbinReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzzReader(data, size, [](std::istream& file) {
    ztbin::ZtbinReader reader;
    std::size_t textLength = 0;
    reader.readFile(file, [&](const ztbin::Point& point) {
      textLength += reader.text(point.key).size();
      textLength += reader.text(reader.descriptor(point.descriptor).name).size();
      if (!reader.metrics().contains(point.metric)) std::abort();
    });
    return textLength;
  });
}
