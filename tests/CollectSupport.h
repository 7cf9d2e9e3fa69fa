#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/FeatureRegistry.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

/// Path below the root and text of each file.
using FileTable = std::map<std::string, std::string>;

/// A small copy of the kernel's files in a temporary folder.
class SysTree {
 public:
  explicit SysTree(const FileTable& files = {}) {
    for (const auto& [path, text] : files) write(path, text);
  }

  std::string folder() const { return folder_.path(); }
  void write(const std::string& path, const std::string& text) const { folder_.write(path, text); }

  /// Emptied first, so that who has the file open cannot read it either: as with the kernel's.
  void remove(const std::string& path) const {
    write(path, "");
    std::filesystem::remove(folder_.path(path));
  }

 private:
  TempFolder folder_;
};

/// Takes tables, and nothing else.
class TableText : public pwr::MessageSink {
 public:
  void system(const pwr::SystemMetadata& /*metadata*/) override { std::abort(); }
  void container(const pwr::MetricContainerInfoMessage& /*message*/) override { std::abort(); }
  void metric(pwr::Metric& /*metric*/) override { std::abort(); }
  void remainder(pwr::Metric& /*metric*/) override { std::abort(); }
  void text(const pwr::TextMessage& /*message*/) override { std::abort(); }
  void id(const pwr::IdMessage& /*message*/) override { std::abort(); }
  void flush() override { std::abort(); }

  void table(const pwr::TableMessage& message) override {
    if (message.getTitle() != title_) lines += message.getTitle() + "\n";
    title_ = message.getTitle();
    std::string line;
    std::string cell;
    for (const pwr::Data& data : message.getCells()) {
      data.toFormattedString(cell);
      line += (line.empty() ? "" : " | ") + cell;
    }
    lines += line + "\n";
  }

  std::string lines;

 private:
  std::string title_;
};

/// Probes and drives one feature over a tree, and tells its samples as text.
class FeatureDriver {
 public:
  FeatureDriver(const std::string& tag, const SysTree& tree)
      : root_(tree.folder()), cpus_(root_), features_(createFeatures()) {
    for (auto& each : features_) {
      if (each->tag() == tag) feature_ = each.get();
    }
    if (feature_ == nullptr) std::abort();
    reason_ = feature_->probe(root_, cpus_, 7);
  }

  const std::string& reason() const { return reason_; }
  const Feature& feature() const { return *feature_; }

  /// What the feature tells at the end: completes `system` and returns the tables, each as its
  /// title and lines of cells "a | b".
  std::string finish(pwr::SystemDescription& system) {
    TableText tables;
    feature_->finish(system, tables);
    return tables.lines;
  }

  /// The samples of the interval that ends at `seconds`, a line for each message:
  /// "Metric @start+length: entity/descriptor=value …", times in seconds, residencies in ms.
  std::string sample(double seconds) {
    std::string text;
    for (const pwr::Metric& metric : messages(seconds)) text += describe(metric);
    return text;
  }

  /// The same messages themselves, valid until the next call.
  SampleBatch& messages(double seconds) {
    batch_.clear();
    feature_->sample(static_cast<unsigned long long>(seconds * 1e9), batch_);
    return batch_;
  }

  /// Tells the feature that the next pass is the last.
  void expectLast() { feature_->expectLast(); }

  /// What the intervals did not get, as above without times; "" for nothing.
  std::string remainder() {
    batch_.clear();
    feature_->remainder(batch_);
    std::string text;
    for (const pwr::Metric& metric : batch_) {
      if (metric.getData().elements.empty()) continue;
      text += metric.getName() + ":" + describeElements(metric) + "\n";
    }
    return text;
  }

 private:
  static std::string number(double value) {
    std::string text;
    pwr::Data(value).toString(text);
    return text;
  }

  static std::string describe(const pwr::Metric& metric) {
    const pwr::Metric::DataPoint& point = metric.getData();
    std::string text = metric.getName() + " @" + number(static_cast<double>(point.timestamp) / 1e9);
    text += "+" + number(static_cast<double>(point.elements.at(0).getDuration()) / 1e9) + ":";
    return text + describeElements(metric) + "\n";
  }

  static std::string describeElements(const pwr::Metric& metric) {
    const bool residency = metric.getMetricType() == pwr::Metric::MetricType::SampledResidency;
    const auto& elements = metric.getData().elements;
    std::string text;
    for (const pwr::DataElement& element : elements) {
      EXPECT_EQ(element.getDuration(), elements[0].getDuration());
      double value = 0;
      const bool isText = element.getValue()->getType() == pwr::DataType::String;
      EXPECT_EQ(element.getValue()->toReal(value) == 0, !isText);
      text += " ";
      if (element.getEntity() != nullptr) text += element.getEntity()->getName();
      if (element.getDescriptor() != nullptr) text += "/" + element.getDescriptor()->getName();
      std::string shown = number(residency ? value / 1e6 : value);
      if (isText) element.getValue()->toString(shown);
      text += "=" + shown;
      if (element.getAttributes() != nullptr) text += describeAttributes(*element.getAttributes());
    }
    return text;
  }

  /// "(first,second)".
  static std::string describeAttributes(const pwr::AttributeValueManager& attributes) {
    std::string text;
    std::string value;
    for (const auto& [attribute, data] : attributes) {
      data.toString(value);
      text += (text.empty() ? "(" : ",") + value;
    }
    return text + ")";
  }

  const SysRoot root_;
  CpuEntities cpus_;
  std::vector<std::unique_ptr<Feature>> features_;
  Feature* feature_ = nullptr;
  std::string reason_;
  SampleBatch batch_;
};

/// The text of a file that is removed.
inline constexpr const char* kGone = "(gone)";

/// A pass: what changed before it, and the samples that it has.
struct Step {
  double seconds;
  FileTable edits;
  std::string expected;
};

/// A feature on a machine, and what happens to it.
struct Scenario {
  const char* name;
  const char* tag;
  FileTable files;
  std::vector<Step> steps;
  std::string remainder = {};
};

inline void play(const std::vector<Scenario>& scenarios) {
  for (const Scenario& scenario : scenarios) {
    SCOPED_TRACE(scenario.name);
    const SysTree tree(scenario.files);
    FeatureDriver driver(scenario.tag, tree);
    ASSERT_EQ(driver.reason(), "");
    for (const Step& step : scenario.steps) {
      for (const auto& [path, text] : step.edits) {
        text == kGone ? tree.remove(path) : tree.write(path, text);
      }
      EXPECT_EQ(driver.sample(step.seconds), step.expected) << "at " << step.seconds << " s";
    }
    EXPECT_EQ(driver.remainder(), scenario.remainder);
  }
}

}  // namespace tavrin
