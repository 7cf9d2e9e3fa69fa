#pragma once

#include "hostcommon/session/MessageSink.h"

namespace tavrin {

/// A sink that takes metrics; what derives from it says what else it takes.
class MetricSink : public pwr::MessageSink {
 public:
  void system(const pwr::SystemMetadata& /*metadata*/) override {}
  void container(const pwr::MetricContainerInfoMessage& /*message*/) override {}
  void remainder(pwr::Metric& /*metric*/) override {}
  void table(const pwr::TableMessage& /*message*/) override {}
  void text(const pwr::TextMessage& /*message*/) override {}
  void id(const pwr::IdMessage& /*message*/) override {}
  void flush() override {}
};

}  // namespace tavrin
