#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"

/// What the tests of the raw, trace and over-time writers share.
namespace column_test {

using pwr::Data;
using pwr::DataElement;
using Type = pwr::Metric::MetricType;

inline const pwr::DataDescriptor* descriptor(const std::string& name,
                                             const pwr::Attribute* attribute = nullptr,
                                             const Data& value = Data()) {
  pwr::DataDescriptorBuilder builder(name, "");
  if (attribute != nullptr) builder.addAttributeValue(attribute, value);
  return pwr::DataDescriptor::create(builder);
}

inline const pwr::EntityHandle* entity(const std::string& name,
                                       const pwr::EntityHandle* parent = nullptr) {
  return pwr::createEntity({.name = name, .level = "Thread", .parent = parent});
}

/// A folder of its own to work in, a captured log, and a writer that is open under "run" there, for
/// a clock of 100 MHz and a collection that starts at tick 1000.
template <typename Writer>
class ColumnWriterTest : public testing::Test {
 protected:
  void SetUp() override {
    before_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
    reopen();
  }
  void TearDown() override {
    writer_.reset();
    for (const char* name : {"PW_DO_TIMELINE_TSC", "PW_DO_TIMELINE_RESIDENCY_TICKS"}) {
      setEnvironment(name, nullptr);
    }
    std::filesystem::current_path(before_);
  }

  /// Replaces the writer by a new one, which reads the environment.
  void reopen() {
    writer_ = std::make_unique<Writer>();
    ASSERT_EQ(writer_->openOutput("run", false), 0);
    EXPECT_EQ(system(100), 0);
  }

  int system(unsigned int megahertz) {
    metadata_ = std::make_unique<pwr::SystemMetadata>(
        pwr::SystemDescription{.hostName = "host, \"quoted\"",
                               .tscFrequencyMHz = static_cast<float>(megahertz),
                               .timestampClockFrequencyMHz = megahertz,
                               .cpuFrequencyMHz = static_cast<float>(megahertz),
                               .collectionStartTimestamp = 1000});
    return send(pwr::SystemMessage(metadata_.get()));
  }

  template <typename Message>
  int send(const Message& message) {
    return WriterDispatch::write(*writer_, message);
  }

  int sample(const pwr::MetricDescription* metric, unsigned long long timestamp,
             std::vector<DataElement> elements) {
    pwr::Metric message(metric);
    message.editData() = {timestamp, std::move(elements)};
    return send(message);
  }

  /// Closes the output, which must leave nothing temporary behind, and returns a file.
  std::string closed(const std::string& name) {
    EXPECT_EQ(writer_->closeOutput(), 0);
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      EXPECT_TRUE(entry.path().filename().string().starts_with("run")) << entry.path();
    }
    return readFile(name);
  }

  /// Opens the output again where every write fails, if `fullFile` is among its files.
  void reopenOnFullDisk(const std::string& fullFile) {
    writer_.reset();
    std::filesystem::remove(fullFile);
    std::filesystem::create_symlink("/dev/full", fullFile);
    reopen();
  }

  TempFolder folder_;
  LogCapture log_;
  std::unique_ptr<pwr::SystemMetadata> metadata_;
  std::unique_ptr<Writer> writer_;

 private:
  std::filesystem::path before_;
};

}  // namespace column_test
