#pragma once

#include <string>

#include "hostcommon/session/MessageSink.h"

namespace tavrin {

/// Tells messages as text, a line each; a sample as
/// "Metric entity@start+length value Announced=1 +additional=2".
class MessageText : public pwr::MessageSink {
 public:
  void system(const pwr::SystemMetadata& metadata) override {
    given = &metadata;
    lines += "system from " + std::to_string(metadata.getCollectionStartTimestamp()) + "\n";
  }
  void container(const pwr::MetricContainerInfoMessage& message) override {
    lines += "container " + message.getFeatureName() + "\n";
  }
  void metric(pwr::Metric& metric) override {
    const pwr::DataElement& element = metric.getData().elements.at(0);
    lines += metric.getName() + " ";
    if (element.getEntity() != nullptr) lines += element.getEntity()->getName();
    lines += "@" + std::to_string(metric.getData().timestamp);
    if (element.getDuration() != 0) lines += "+" + std::to_string(element.getDuration());
    lines += " " + shown(*element.getValue());
    addAttributes(element);
    lines += "\n";
  }
  void remainder(pwr::Metric& metric) override { lines += "remainder " + metric.getName() + "\n"; }
  void table(const pwr::TableMessage& message) override {
    lines += message.getTitle();
    for (const pwr::Data& cell : message.getCells()) lines += " | " + shown(cell);
    lines += "\n";
  }
  void text(const pwr::TextMessage& message) override { lines += message.getMessage() + "\n"; }
  void id(const pwr::IdMessage& /*message*/) override { lines += "id\n"; }
  void flush() override { lines += "flush\n"; }

  std::string lines;
  const pwr::SystemMetadata* given = nullptr;

 private:
  static std::string shown(const pwr::Data& value) {
    std::string shown;
    value.toString(shown);
    return shown;
  }
  void addAttributes(const pwr::DataElement& element) {
    if (element.getAttributes() != nullptr) {
      for (const auto& [attribute, value] : *element.getAttributes()) {
        lines += " " + attribute->getName() + "=" + shown(value);
      }
    }
    if (element.getAdditionalInfo() == nullptr) return;
    for (const auto& [id, value] : *element.getAdditionalInfo()) {
      const pwr::DataHandle* attribute = nullptr;
      pwr::DataHandle::get(id, attribute);
      lines += " +" + attribute->getName() + "=" + shown(value);
    }
  }
};

}  // namespace tavrin
