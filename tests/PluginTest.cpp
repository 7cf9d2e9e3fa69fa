// What every plugin is promised, and the list of writers that the library hands out.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iterator>
#include <memory>
#include <set>
#include <string>

#include "hostcommon/Descriptions.h"
#include "writers/host/WriterPlugin.h"
#include "writers/host/WriterPluginList.h"

using pwr::Data;

extern "C" {
WriterPluginList* createPlugins(void);
void destroyPlugins(WriterPluginList* list);
}

namespace {

class RecordingWriter : public WriterPlugin {
 public:
  explicit RecordingWriter(bool* destroyed = nullptr)
      : WriterPlugin("00000000-0000-0000-0000-000000000000"), destroyed_(destroyed) {}
  ~RecordingWriter() override {
    if (destroyed_ != nullptr) *destroyed_ = true;
  }
  int openOutput(const std::string& /*baseName*/, bool /*continuous*/) override { return 0; }
  int closeOutput() override { return 0; }
  using WriterPlugin::getColumnTitles;
  using WriterPlugin::getRowValues;

 private:
  bool* destroyed_;
};

TEST(Plugin, StorageIsZeroFilled) {
  constexpr std::size_t kSize = 4096;
  void* const dirty = Plugin::operator new(kSize);
  std::memset(dirty, 0xAB, kSize);
  Plugin::operator delete(dirty);
  auto* const storage = static_cast<unsigned char*>(Plugin::operator new(kSize));
  EXPECT_EQ(std::count(storage, storage + kSize, 0), static_cast<std::ptrdiff_t>(kSize));
  Plugin::operator delete(storage);
}

TEST(Plugin, RowsAndTitlesOfATable) {
  pwr::TableDescription table;
  table.sharedHandles = {pwr::createColumn("State", nullptr)};
  table.entities = {pwr::createEntity({.name = "CPU0"}), pwr::createEntity({.name = "CPU1"})};
  table.handles = {pwr::createColumn("Time", pwr::Quantity::time())};
  const auto shared = std::make_shared<const pwr::TableDescription>(table);
  const pwr::TableMessage message(shared, {Data("C1"), Data(5U)});
  const RecordingWriter writer;
  std::deque<std::string> texts;
  writer.getColumnTitles(message, texts);
  EXPECT_EQ(texts, (std::deque<std::string>{"State", "CPU0 Time (ms)", "CPU1 Time (ms)"}));
  texts.clear();
  writer.getRowValues(message, texts);
  EXPECT_EQ(texts, (std::deque<std::string>{"C1", "5", "Invalid"}));
}

TEST(PluginList, SkipsWhatIsNotThere) {
  destroyPlugins(nullptr);
  auto* const empty = new WriterPluginList{3, nullptr};
  destroyPlugins(empty);

  bool destroyed = false;
  auto* const list = new WriterPluginList{2, static_cast<Plugin**>(std::malloc(2 * sizeof(void*)))};
  list->plugins[0] = nullptr;
  list->plugins[1] = new RecordingWriter(&destroyed);
  destroyPlugins(list);
  EXPECT_TRUE(destroyed);
}

TEST(PluginList, HoldsTheWritersInTheirOrder) {
  const struct {
    const char *guid, *name, *extension, *description;
    bool flag;
    std::set<pwr::TableClass> classes;
  } registry[] = {
      {"108d88ba-5ee4-11e4-aa15-123b93f75cba",
       "sum",
       ".csv",
       "Write summary reports for all collected metrics to CSV file [default]",
       false,
       {pwr::TableClass::Summary}},
      {"f245366a-c403-478b-aae5-649269da17c7",
       "korvell",
       ".pwr",
       "Write data trace file (.pwr) in import format for visualization with Korvell",
       false,
       {}},
      {"2e820d9e-2f9e-4cdb-a81d-056273a7a392",
       "json",
       ".ztjson",
       "Write data trace file (.ztjson) in JSON format for visualization with Brisolt",
       true,
       {}},
      {"c3b1f91c-4a80-11e9-8261-001e67ca31ce",
       "bin",
       ".ztbin",
       "Write data in a proprietary binary format (.ztbin) for consumption by the Tavrin API",
       true,
       {}},
      {"2e820d9e-2f9e-4cdb-a81d-056273a7a391",
       "raw",
       ".txt",
       "Print raw text data to *.txt file",
       false,
       {}},
      {"b1e44565-005f-46ea-9fbb-34ea6bc01203",
       "int",
       "_trace.csv",
       "Write data trace file (*_trace.csv) in CSV format",
       false,
       {}},
      {"9d2aa443-e197-4628-9ed7-f7772a50828e",
       "phm-csv",
       ".csv",
       "Write over-time data to *_phm.csv file.",
       false,
       {}},
      {"894d2fa0-61c8-11e7-9598-0800200c9a66",
       "auto",
       ".csv",
       "Write summary data as single line to file Automation_Summary.csv",
       false,
       {}},
  };
  WriterPluginList* const list = createPlugins();
  ASSERT_EQ(list->count, static_cast<int>(std::size(registry)));
  for (int i = 0; i < list->count; ++i) {
    SCOPED_TRACE(registry[i].name);
    const Plugin& writer = *list->plugins[i];
    EXPECT_EQ(writer.getPluginId(), registry[i].guid);
    ASSERT_EQ(writer.getCapabilities().size(), 1U);
    const auto& capability =
        dynamic_cast<const pwr::WriterPluginCapability&>(*writer.getCapabilities().front());
    EXPECT_EQ(capability.getName(), registry[i].name);
    EXPECT_EQ(capability.getDescription(), registry[i].description);
    EXPECT_EQ(capability.getExtension(), registry[i].extension);
    EXPECT_EQ(capability.getFlag(), registry[i].flag);
    EXPECT_EQ(capability.getTableClasses(), registry[i].classes);
  }
  destroyPlugins(list);
}

}  // namespace
