// What goes wrong around an output, for every registered writer: calls out of order, outputs that
// cannot be had, full disks. A writer that is opened again behaves as a new one.

#include <gtest/gtest.h>

#include <map>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "hostcommon/session/PluginLibraries.h"
#include "writers/host/PluginCapability.h"
#include "writers/host/Quantity.h"

namespace {

namespace fs = std::filesystem;

/// The writers that the command has, made anew for each test.
class Library {
 public:
  const std::vector<WriterPlugin*>& writers() const { return writers_; }
  WriterPlugin& writer(std::size_t index) const { return *writers_[index]; }

 private:
  const pwr::PluginLibraries libraries_{{}};
  const std::vector<WriterPlugin*> writers_ = libraries_.writers();
};

/// A run of two processors: something for every writer.
class SmallRun {
 public:
  SmallRun() {
    system_.edit().timestampClockFrequencyMHz = 1000;
    system_.edit().tscFrequencyMHz = 1000.0F;
    system_.edit().cpuFrequencyMHz = 2000.0F;
    system_.edit().collectionStartTimeNs = 1'795'000'000'000'000'000;
  }

  /// The status of all messages together.
  int deliver(WriterPlugin& writer) {
    int status = WriterDispatch::write(writer, pwr::SystemMessage(&system_));
    status |= WriterDispatch::write(writer, container_);
    pwr::Metric metric(metric_);
    for (unsigned long long time = 0; time < 5; ++time) {
      metric.editData().timestamp = time * 1000;
      metric.editData().elements = {{pwr::Data(time + 1), state_, cpu_, 1000}};
      status |= WriterDispatch::write(writer, metric);
    }
    status |= WriterDispatch::write(writer, pwr::TableMessage(table_, {pwr::Data(7U)}));
    pwr::HeaderTextMessage text;
    text.setMessage("header");
    return status | WriterDispatch::write(writer, text);
  }
  const pwr::SystemMetadata& system() const { return system_; }

 private:
  pwr::SystemMetadata system_;
  pwr::MetricContainerInfoMessage container_{
      {.containerId = 1, .featureName = "f", .metricName = "m", .heading = "Heading"}};
  const pwr::EntityHandle* cpu_ = pwr::createEntity({.name = "CPU0"});
  const pwr::DataDescriptor* state_ =
      pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("C1", ""));
  const pwr::MetricDescription* metric_ =
      pwr::createMetric({.containerId = 1,
                         .name = "Sleep",
                         .type = pwr::Metric::MetricType::SampledResidency,
                         .quantity = pwr::Quantity::time(),
                         .combinations = {{cpu_, state_}}});
  std::shared_ptr<const pwr::TableDescription> table_ =
      std::make_shared<const pwr::TableDescription>(
          pwr::TableDescription{.containerId = 1,
                                .tableId = 1,
                                .title = "Table",
                                .sharedHandles = {pwr::createColumn("CPU", nullptr)},
                                .handles = {pwr::createColumn("Count", nullptr)}});
};

/// One writer, with a folder of its own, which is the current one.
class Trial {
 public:
  explicit Trial(std::size_t index) : index_(index) { fs::current_path(folder_.path()); }

  WriterPlugin& writer() { return library_.writer(index_); }
  std::string name() { return pwr::PluginLibrary::nameOf(writer()); }
  /// The outputs under `base`, each with its text. The shared line of the automation writer names
  /// the base and grows: its last line counts, without that.
  std::map<std::string, std::string> outputs(const std::string& base) const {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder_.path())) {
      std::string file = entry.path().filename().string();
      if (!entry.is_regular_file() || entry.path().parent_path().filename() != base) continue;
      found[file] = readFile(entry.path().string());
    }
    return found;
  }
  /// Every name below the folder.
  std::string names() const {
    std::set<std::string> sorted;
    for (const auto& entry : fs::recursive_directory_iterator(folder_.path())) {
      sorted.insert(entry.path().filename().string());
    }
    std::string text;
    for (const std::string& one : sorted) text += one + " ";
    return text;
  }
  /// A whole run into a folder of its own, under the base name "run".
  int record(WriterPlugin& writer, const std::string& folder) {
    fs::create_directory(folder_.path(folder));
    if (writer.openOutput(folder_.path(folder) + "/run", false) != 0) return 1;
    run_.deliver(writer);
    return writer.closeOutput();
  }
  /// What a writer that has done nothing before makes of the run.
  std::map<std::string, std::string> expected() {
    const Library fresh;
    EXPECT_EQ(record(fresh.writer(index_), "fresh"), 0);
    return comparable("fresh");
  }
  /// Paths and ids of the process do not count.
  std::map<std::string, std::string> comparable(const std::string& folder) const {
    std::map<std::string, std::string> found = outputs(folder);
    for (auto& [file, text] : found) {
      if (file.ends_with(".pwr")) text = std::to_string(text.size());
      for (std::size_t at = text.find("/" + folder + "/"); at != std::string::npos;
           at = text.find("/" + folder + "/")) {
        text.erase(at, folder.size() + 1);
      }
    }
    return found;
  }

  SmallRun& run() { return run_; }
  LogCapture& log() { return log_; }
  const TempFolder& folder() const { return folder_; }
  std::size_t index() const { return index_; }

 private:
  const std::size_t index_;
  Library library_;
  SmallRun run_;
  LogCapture log_;
  TempFolder folder_;
};

/// All writers in one process: loading the libraries takes longer than the rest.
template <typename Check>
void forEachWriter(Check check) {
  const Library library;
  ASSERT_FALSE(library.writers().empty());
  for (std::size_t index = 0; index < library.writers().size(); ++index) {
    Trial trial(index);
    SCOPED_TRACE(trial.name());
    check(trial);
  }
}

TEST(WriterFaultTest, MessagesWithoutAnOutputAreRefusedWithALine) {
  forEachWriter([](Trial& trial) {
    EXPECT_NE(trial.run().deliver(trial.writer()), 0);
    EXPECT_NE(trial.log().all().find("Writer " + trial.name() + " has no open output"),
              std::string::npos)
        << trial.log().all();
    EXPECT_NE(trial.writer().closeOutput(), 0);
    EXPECT_EQ(trial.names(), "");
  });
}

// Some create their files when the output is opened, some when it is closed.
TEST(WriterFaultTest, WhereNoFileCanBeOpeningOrClosingFails) {
  forEachWriter([](Trial& trial) {
    const bool isOpen = trial.writer().openOutput(trial.folder().path("nowhere/run"), false) == 0;
    EXPECT_EQ(trial.run().deliver(trial.writer()) == 0, isOpen);
    EXPECT_NE(trial.writer().closeOutput(), 0);
    EXPECT_NE(trial.log().all(), "");
    EXPECT_NE(trial.writer().closeOutput(), 0) << "closed already";
    EXPECT_EQ(trial.names(), "");
    const auto wanted = trial.expected();
    EXPECT_EQ(trial.record(trial.writer(), "again"), 0);
    EXPECT_EQ(trial.comparable("again"), wanted);
  });
}

TEST(WriterFaultTest, AClosedOneIsAsNew) {
  forEachWriter([](Trial& trial) {
    const auto wanted = trial.expected();
    ASSERT_FALSE(wanted.empty());
    ASSERT_EQ(trial.record(trial.writer(), "first"), 0);
    trial.log().clear();
    EXPECT_NE(trial.run().deliver(trial.writer()), 0) << "closed";
    EXPECT_NE(trial.log().all(), "");
    EXPECT_NE(trial.writer().closeOutput(), 0) << "closed already";
    EXPECT_EQ(trial.comparable("first"), wanted);
    EXPECT_EQ(trial.record(trial.writer(), "second"), 0);
    EXPECT_EQ(trial.comparable("second"), wanted);
  });
}

TEST(WriterFaultTest, AnOpenOneIsNotOpenedAgain) {
  forEachWriter([](Trial& trial) {
    const auto wanted = trial.expected();
    fs::create_directory(trial.folder().path("first"));
    ASSERT_EQ(trial.writer().openOutput(trial.folder().path("first/run"), false), 0);
    trial.log().clear();
    const int status = trial.writer().openOutput(trial.folder().path("other"), false);
    if (trial.name() == "bin") {
      EXPECT_EQ(status, 0) << "which does nothing";
    } else {
      EXPECT_NE(status, 0);
      EXPECT_NE(trial.log().all().find("open already"), std::string::npos) << trial.log().all();
    }
    trial.run().deliver(trial.writer());
    EXPECT_EQ(trial.writer().closeOutput(), 0);
    EXPECT_EQ(trial.comparable("first"), wanted);
    EXPECT_EQ(trial.names().find("other"), std::string::npos);
  });
}

TEST(WriterFaultTest, WithoutACloseNothingIsLeft) {
  forEachWriter([](Trial& trial) {
    {
      const Library library;
      WriterPlugin& dropped = library.writer(trial.index());
      ASSERT_EQ(dropped.openOutput(trial.folder().path("run"), false), 0);
      EXPECT_EQ(trial.run().deliver(dropped), 0) << trial.log().all();
    }
    EXPECT_EQ(trial.names(), "");
  });
}

#if !defined(_WIN32)

TEST(WriterFaultTest, AFullDiskCostsTheNewOutputAlone) {
  forEachWriter([](Trial& trial) {
    ASSERT_EQ(trial.record(trial.writer(), "run"), 0);
    const auto good = trial.outputs("run");
    {
      const FullDisk full;
      EXPECT_NE(trial.record(trial.writer(), "run"), 0);
    }
    EXPECT_NE(trial.log().all().find("ERROR: "), std::string::npos) << trial.log().all();
    auto after = trial.outputs("run");
    std::erase_if(after, [](const auto& file) { return file.first.ends_with(".incomplete"); });
    EXPECT_EQ(after, good);
    EXPECT_EQ(trial.names().find(".tavrin-"), std::string::npos) << trial.names();
    const auto wanted = trial.expected();
    EXPECT_EQ(trial.record(trial.writer(), "again"), 0);
    EXPECT_EQ(trial.comparable("again"), wanted);
  });
}

#endif

}  // namespace
