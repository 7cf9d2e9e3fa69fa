#include "writers/host/WriterPlugin.h"

#include "hostcommon/WriterDispatch.h"

WriterPlugin::WriterPlugin(const std::string& guid) : Plugin(guid) {}
WriterPlugin::~WriterPlugin() = default;

void WriterPlugin::addCapability(pwr::PluginCapability* capability) {
  Plugin::addCapability(capability);
}

bool WriterPlugin::flushContinuousResults(const pwr::SystemMetadata& /*metadata*/) {
  return false;
}

int WriterPlugin::writeMessage(const pwr::MetricContainerInfoMessage& /*message*/) {
  return 0;
}
int WriterPlugin::writeMessage(const pwr::Metric& /*metric*/) {
  return 0;
}
int WriterPlugin::writeMessage(const pwr::IdMessage& /*message*/) {
  return 0;
}
int WriterPlugin::writeMessage(const pwr::SystemMessage& /*message*/) {
  return 0;
}
int WriterPlugin::writeMessage(const pwr::TextMessage& /*message*/) {
  return 0;
}
int WriterPlugin::writeMessage(const pwr::TableMessage& /*message*/) {
  return 0;
}

void WriterPlugin::getColumnTitles(const pwr::TableMessage& table,
                                   std::deque<std::string>& titles) const {
  table.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    titles.push_back(getFieldNameFromHandle(table, entity, handle));
  });
}

void WriterPlugin::getRowValues(const pwr::TableMessage& table,
                                std::deque<std::string>& values) const {
  table.forEachCell([&](const pwr::EntityHandle* entity, const pwr::DataHandle* handle) {
    std::string text;
    bool isNumeric = false;
    if (table.getFieldAsString(entity, handle, text, isNumeric) != 0) text = "Invalid";
    values.push_back(std::move(text));
  });
}

std::string WriterPlugin::getFieldNameFromHandle(const pwr::TableMessage& /*table*/,
                                                 const pwr::EntityHandle* entity,
                                                 const pwr::DataHandle* handle) const {
  if (handle == nullptr) return {};
  if (entity == nullptr || entity->getName().empty()) return handle->getFieldName();
  return entity->getName() + " " + handle->getFieldName();
}

int WriterDispatch::write(WriterPlugin& writer, const pwr::MetricContainerInfoMessage& message) {
  return writer.writeMessage(message);
}
int WriterDispatch::write(WriterPlugin& writer, const pwr::Metric& metric) {
  return writer.writeMessage(metric);
}
int WriterDispatch::write(WriterPlugin& writer, const pwr::IdMessage& message) {
  return writer.writeMessage(message);
}
int WriterDispatch::write(WriterPlugin& writer, const pwr::SystemMessage& message) {
  return writer.writeMessage(message);
}
int WriterDispatch::write(WriterPlugin& writer, const pwr::TextMessage& message) {
  return writer.writeMessage(message);
}
int WriterDispatch::write(WriterPlugin& writer, const pwr::TableMessage& message) {
  return writer.writeMessage(message);
}
void WriterDispatch::notifyOptionsSet(WriterPlugin& writer) {
  static_cast<Plugin&>(writer).notifyCommandlineParamsSet_i();
}
