#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "ColumnWriterTestSupport.h"
#include "readers/PwrReader.h"
#include "readers/PwrText.h"
#include "writers/timeline/KorvellWriter.h"

/// A timeline file as the tests of its writer look at it.
namespace timeline_test {

using Lines = std::vector<std::string>;

/// The lines about records of a kind, without the tabs: "data", or "info" and a type.
inline Lines linesOf(const std::string& bytes, const std::string& kind) {
  std::istringstream file(bytes);
  pwrfile::PwrReader reader;
  Lines lines;
  pwrfile::PwrText text(reader, [&](const std::string& line) {
    std::string plain = line;
    std::ranges::replace(plain, '\t', ' ');
    // An id of the process is of no interest.
    if (plain.starts_with("info ")) plain.erase(0, plain.find(' ', 5) + 1);
    if (plain.starts_with(kind + " ")) lines.push_back(plain.substr(kind.size() + 1));
  });
  reader.readFile(file, text);
  return lines;
}

/// Without what is "NUMBER (NAME)" but the name.
inline Lines namesOf(const std::string& bytes, const std::string& kind) {
  Lines lines = linesOf(bytes, kind);
  for (std::string& line : lines) {
    for (std::size_t end = line.find(" ("); end != std::string::npos; end = line.find(" (", end)) {
      const std::size_t start = line.find_last_not_of("0123456789", end - 1) + 1;
      line.erase(start, end + 1 - start);
      end = start + 1;
    }
  }
  return lines;
}

}  // namespace timeline_test
