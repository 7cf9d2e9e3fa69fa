#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/OutputConfigFile.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/text/SummaryWriter.h"

/// What the tests of the text writers share.
namespace text_test {

using Table = std::shared_ptr<const pwr::TableDescription>;

inline Table describe(pwr::TableDescription description) {
  return std::make_shared<const pwr::TableDescription>(std::move(description));
}

inline const pwr::DataHandle* column(const std::string& fieldName, const std::string& header = "",
                                     const pwr::Quantity* quantity = nullptr) {
  return pwr::createHandle({.header = header, .fieldName = fieldName, .quantity = quantity});
}

/// A table with one column.
inline Table simpleTable(unsigned int container, unsigned int table, const std::string& title) {
  return describe(
      {.containerId = container, .tableId = table, .title = title, .handles = {column("V")}});
}

/// A folder of its own, a captured log, and a writer that is open under "run" in the folder.
class TextTest : public testing::Test {
 protected:
  void SetUp() override {
    pwr::unloadOutputConfigFile();
    reopen("run");
  }

  /// Replaces the writer by a new one.
  void reopen(const std::string& name) {
    writer_ = std::make_unique<SummaryWriter>();
    ASSERT_EQ(writer_->openOutput(folder_.path(name), false), 0);
  }

  template <typename Message>
  int send(const Message& message) {
    return WriterDispatch::write(*writer_, message);
  }
  int define(const Table& table) { return send(pwr::TableMessage(table)); }
  int row(const Table& table, std::vector<pwr::Data> cells) {
    return send(pwr::TableMessage(table, std::move(cells)));
  }
  template <typename Message>
  int text(const std::string& line) {
    Message message;
    message.setMessage(line);
    return send(message);
  }

  std::string written() const { return readFile(folder_.path("run.csv")); }
  /// What there is of the report after a failure.
  std::string incomplete() const { return readFile(folder_.path("run.csv.incomplete")); }
  std::string report() {
    EXPECT_EQ(writer_->closeOutput(), 0);
    return written();
  }

  /// What the folder holds besides the outputs.
  std::vector<std::filesystem::path> privateDirectories() const {
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      if (entry.is_directory()) found.push_back(entry.path());
    }
    return found;
  }

  /// The temporary files in the order in which they were made.
  std::vector<std::filesystem::path> tempFiles() const {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(privateDirectories().at(0))) {
      files.push_back(entry.path());
    }
    const auto number = [](const auto& path) { return std::stoi(path.stem().string().substr(6)); };
    std::ranges::sort(files, {}, number);
    return files;
  }

  TempFolder folder_;
  LogCapture log_;
  std::unique_ptr<SummaryWriter> writer_;
};

}  // namespace text_test
