// The reader of JSON traces, of whole runs and of continuous ones. It may not hand out a point of a
// metric that the trace does not have.

#include "fuzz/FuzzTarget.h"
#include "readers/ZtjsonReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::readBytes(data, size, [](std::istream& file) {
    ztjson::ZtjsonReader reader;
    std::size_t textLength = 0;
    reader.readFile(file, [&](const ztjson::Point& point) {
      if (point.metric >= reader.metrics().size()) std::abort();
      textLength += reader.metrics()[point.metric].name.size() + point.series.size();
      for (const auto& [name, value] : point.values) textLength += name.size();
    });
    for (const auto& [key, text] : reader.system()) textLength += key.size() + text.size();
    return textLength;
  });
}
