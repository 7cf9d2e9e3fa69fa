#pragma once

#include <gtest/gtest.h>
#include <libdeflate.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "TestSupport.h"
#include "exporters/lines/LinesWriter.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"

/// The texts of the members of a file of lines. Anything that is not one fails.
inline std::vector<std::string> membersOf(std::string bytes) {
  const std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> unpacker(
      libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
  std::vector<std::string> members;
  while (!bytes.empty()) {
    std::string text(std::size_t{1} << 20U, '\0');
    std::size_t taken = 0;
    std::size_t size = 0;
    const auto result = libdeflate_gzip_decompress_ex(unpacker.get(), bytes.data(), bytes.size(),
                                                      text.data(), text.size(), &taken, &size);
    if (result != LIBDEFLATE_SUCCESS) throw std::runtime_error("no gzip");
    text.resize(size);
    members.push_back(text);
    bytes.erase(0, taken);
  }
  return members;
}

using Lines = std::vector<std::string>;

inline Lines linesOf(const std::string& file) {
  std::string text;
  for (const std::string& member : membersOf(readFile(file))) text += member;
  std::istringstream stream(text);
  Lines lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

inline const pwr::DataDescriptor* descriptor(const std::string& name) {
  return pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, ""));
}

/// A run of the writer, on a clock of 1000 MHz that showed 5000 at second 1000.
class LinesTrial {
 public:
  explicit LinesTrial(const std::vector<std::string>& options = {}, bool continuous = false) {
    system_.edit().timestampClockFrequencyMHz = 1000;
    system_.edit().collectionStartTimestamp = 5000;
    system_.edit().collectionStartTimeNs = 1'000'000'000'000;
    system_.edit().hostName = "lab";
    for (const std::string& option : options) writer_.handleBroadcastOption(option);
    isOpen_ = writer_.openOutput(folder_.path("run"), continuous) == 0;
  }

  pwr::SystemDescription& system() { return system_.edit(); }
  int begin() { return WriterDispatch::write(writer_, pwr::SystemMessage(&system_)); }
  /// A message whose time is that many ticks behind the start.
  int deliver(const pwr::MetricDescription* metric, unsigned long long ticks,
              std::vector<pwr::DataElement> elements) {
    if (!std::exchange(hasBegun_, true)) begin();
    pwr::Metric message(metric);
    message.editData().timestamp = 5000 + ticks;
    message.editData().elements = std::move(elements);
    return WriterDispatch::write(writer_, message);
  }
  bool flush() { return writer_.flushContinuousResults(system_); }
  int close() { return writer_.closeOutput(); }
  /// The lines of a complete run.
  Lines finish() {
    EXPECT_TRUE(isOpen_);
    EXPECT_EQ(close(), 0) << log_.all();
    return linesOf(path("run.lp.gz"));
  }

  std::string path(const std::string& name) const { return folder_.path(name); }
  /// The names of all files.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(folder_.path())) {
      names.push_back(file.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
  }
  LogCapture& log() { return log_; }

 private:
  TempFolder folder_;
  LogCapture log_;
  pwr::SystemMetadata system_;
  LinesWriter writer_;
  bool isOpen_ = false;
  bool hasBegun_ = false;
};
