// The messages that only carry what they are given.

#include "writers/host/IdMessage.h"
#include "writers/host/MetricContainerInfoMessage.h"
#include "writers/host/SystemMessage.h"
#include "writers/host/TextMessage.h"
#include "writers/host/UniqueId.h"

namespace pwr {

Message::~Message() = default;

IdMessage::IdMessage(unsigned long long id, std::string name)
    : Message(id), name_(std::move(name)) {}
IdMessage::~IdMessage() = default;

MetricContainerInfoMessage::MetricContainerInfoMessage(MetricContainerDescription description)
    : Message(description.containerId), description_(std::move(description)) {}
MetricContainerInfoMessage::~MetricContainerInfoMessage() = default;

SystemMessage::SystemMessage(const SystemMetadata* metadata) : Message(0), metadata_(metadata) {}
SystemMessage::~SystemMessage() = default;

TextMessage::TextMessage() : Message(UniqueId().getId()) {}
TextMessage::~TextMessage() = default;

TextMessageKind TextMessage::getKind() const {
  return TextMessageKind::Plain;
}

int TextMessage::setMessage(const std::string& text) {
  text_ = text;
  return 0;
}

HeaderTextMessage::HeaderTextMessage() = default;
HeaderTextMessage::~HeaderTextMessage() = default;

TextMessageKind HeaderTextMessage::getKind() const {
  return TextMessageKind::Header;
}

}  // namespace pwr
