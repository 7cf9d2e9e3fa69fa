#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <string>

#include "TestSupport.h"
#include "exporters/sqlite/SqliteWriter.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"

/// What the tests of the database writer share.
namespace sqlite_test {

/// The rows that a statement gives: cells separated by "|", NULL for none, a line each. The error's
/// text if it fails.
inline std::string query(const std::string& path, const std::string& sql) {
  sqlite3* database = nullptr;
  std::string text;
  char* error = nullptr;
  sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
  const auto addRow = [](void* rows, int count, char** cells, char** /*names*/) {
    auto& out = *static_cast<std::string*>(rows);
    for (int i = 0; i < count; ++i) {
      out += (i == 0 ? "" : "|") + std::string(cells[i] == nullptr ? "NULL" : cells[i]);
    }
    out += '\n';
    return 0;
  };
  sqlite3_exec(database, sql.c_str(), addRow, &text, &error);
  if (error != nullptr) text += error;
  sqlite3_free(error);
  sqlite3_close(database);
  return text;
}

/// A folder of its own, a captured log, and a writer that is open under "run" in the folder.
class SqliteTest : public testing::Test {
 protected:
  void SetUp() override { reopen("run"); }

  void reopen(const std::string& name) {
    writer_ = std::make_unique<SqliteWriter>();
    ASSERT_EQ(writer_->openOutput(folder_.path(name), false), 0) << log_.all();
  }
  template <typename Message>
  int send(const Message& message) {
    return WriterDispatch::write(*writer_, message);
  }
  void sendSystem() { EXPECT_EQ(send(pwr::SystemMessage(&system_)), 0); }
  void sample(const pwr::MetricDescription* metric, unsigned long long time,
              std::vector<pwr::DataElement> elements) {
    pwr::Metric message(metric);
    message.editData() = {time, std::move(elements)};
    EXPECT_EQ(send(message), 0);
  }
  /// Closes the output, which has to be sound, and asks it.
  std::string ask(const std::string& sql) {
    if (writer_ != nullptr) {
      EXPECT_EQ(writer_->closeOutput(), 0) << log_.all();
      EXPECT_EQ(query(path_, "PRAGMA integrity_check"), "ok\n");
      EXPECT_EQ(query(path_, "PRAGMA foreign_key_check"), "");
    }
    writer_.reset();
    return query(path_, sql);
  }

  TempFolder folder_;
  LogCapture log_;
  const std::string path_ = folder_.path("run.db");
  pwr::SystemMetadata system_{pwr::SystemDescription{.timestampClockFrequencyMHz = 1000,
                                                     .collectionStartTimestamp = 5'000'000'000}};
  const pwr::EntityHandle* package_ = pwr::createEntity({.name = "Package0", .level = "Package"});
  const pwr::EntityHandle* cpu_ =
      pwr::createEntity({.name = "CPU0", .level = "Thread", .parent = package_});
  const pwr::DataDescriptor* c6_ =
      pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("C6", "Off"));
  std::unique_ptr<SqliteWriter> writer_;
};

}  // namespace sqlite_test
