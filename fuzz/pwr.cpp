// The reader of timeline files. It may not read outside of the bytes or hand out a record whose
// references lead nowhere. From nothing it hardly ever gets past the fixed records: start it with a
// file of the writer.

#include "fuzz/FuzzTarget.h"
#include "readers/PwrText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::readBytes(data, size, [](std::istream& file) {
    pwrfile::PwrReader reader;
    std::size_t textLength = 0;
    // Writing the text follows every reference.
    pwrfile::PwrText text(reader, [&](const std::string& line) {
      textLength += line.size();
      if (line.find('\n') != std::string::npos) std::abort();
    });
    reader.readFile(file, text);
    return textLength;
  });
}
