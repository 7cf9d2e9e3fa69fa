// The reader of binary streams. It may not read outside of the bytes or hand out a point whose
// references lead nowhere.

#include "fuzz/FuzzTarget.h"
#include "readers/ZtbinReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::readBytes(data, size, [](std::istream& file) {
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
