// Feeds the cases of folders to a target where there is no libFuzzer: all that was ever found
// stays found. A folder that is missing is a mistake, and so is it that there are no cases.
//   TARGET_corpus FOLDER...

#include <algorithm>
#include <cstdio>
#include <vector>

#include "fuzz/FuzzTarget.h"

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> cases;
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) return 2;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::absolute(argv[i]))) {
      cases.push_back(entry.path());
    }
  }
  std::ranges::sort(cases);
  for (const std::filesystem::path& path : cases) {
    std::printf("%s\n", path.filename().string().c_str());
    std::fflush(stdout);  // the last name printed is that of the case that fails
    const std::string bytes = readFile(path.string());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  return cases.empty() ? 2 : 0;
}
