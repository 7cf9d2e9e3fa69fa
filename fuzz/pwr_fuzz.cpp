// Feeds arbitrary bytes to the reader of timeline files. It may reject them; it may not crash, read
// outside of them, or hand out a record whose references lead nowhere. Start it with a file of the
// writer: from nothing it hardly ever gets past the fixed records.

#include <cstdlib>

#include "fuzz/FuzzInput.h"
#include "readers/PwrText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzzReader(data, size, [](std::istream& file) {
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
