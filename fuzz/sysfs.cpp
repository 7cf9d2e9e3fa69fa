// A tree of the kernel's files, probed and sampled. The input describes it line by line: a line
// that begins with "/" names a file, the lines that follow it are its text, and "=" begins what
// changes until the next reading, a second later. A file without text is removed.

#include "fuzz/FuzzTarget.h"
#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/FeatureRegistry.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/SystemProbe.h"

namespace {

/// Fuzzed paths must not lead out of the tree, nor be ones that no kernel has.
bool isPlain(const std::string& path) {
  return path.size() < 200 && path.find("..") == std::string::npos &&
         path.find('\0') == std::string::npos;
}

/// Writes the files up to the next "=". Returns false at the end.
bool writeStep(std::istream& input, const std::filesystem::path& root) {
  std::string line;
  std::string path;
  std::string text;
  const auto endFile = [&] {
    std::error_code error;  // a name that is a folder already, or too long
    const std::filesystem::path file = root / path;
    if (path.empty() || !isPlain(path)) return;
    std::filesystem::remove(file, error);
    if (text.empty()) return;
    std::filesystem::create_directories(file.parent_path(), error);
    std::ofstream(file, std::ios::binary) << text;
  };
  while (std::getline(input, line) && line != "=") {
    if (!line.starts_with('/')) {
      text += line + '\n';
      continue;
    }
    endFile();
    path = line.substr(1);
    text.clear();
  }
  endFile();
  return static_cast<bool>(input);
}

void collect(std::istream& input, const std::filesystem::path& folder) {
  bool isMore = writeStep(input, folder);
  const tavrin::SysRoot root(folder.string());
  tavrin::CpuEntities cpus(root);
  tavrin::probeSystem(root, cpus);
  auto features = tavrin::createFeatures();
  std::erase_if(features, [&, id = 0U](const auto& feature) mutable {
    return !feature->probe(root, cpus, ++id).empty();
  });
  tavrin::SampleBatch batch;
  for (unsigned long long now = 0;; now += 1'000'000'000) {
    for (const auto& feature : features) feature->sample(now, batch);
    for (const pwr::Metric& metric : batch) {
      if (metric.getData().elements.empty() || metric.getData().timestamp > now) std::abort();
    }
    batch.clear();
    if (!isMore) break;
    isMore = writeStep(input, folder);
  }
  for (const auto& feature : features) feature->remainder(batch);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::QuietLog log(size);
  const std::filesystem::path folder = std::filesystem::path(fuzz::workFolder().path()) / "tree";
  std::filesystem::remove_all(folder);
  std::istringstream input(std::string(data, data + size));
  collect(input, folder);
  return 0;
}
