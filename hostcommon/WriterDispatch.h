#pragma once

#include "writers/host/HostApi.h"
#include "writers/host/WriterPlugin.h"

/// The host's way to the operations of a writer that only a host may call.
class PW_HOST_API WriterDispatch {
 public:
  /// Deliver one message; 0 when the writer took it. For the order see `WriterPlugin`.
  static int write(WriterPlugin& writer, const pwr::MetricContainerInfoMessage& message);
  static int write(WriterPlugin& writer, const pwr::Metric& metric);
  static int write(WriterPlugin& writer, const pwr::IdMessage& message);
  static int write(WriterPlugin& writer, const pwr::SystemMessage& message);
  static int write(WriterPlugin& writer, const pwr::TextMessage& message);
  static int write(WriterPlugin& writer, const pwr::TableMessage& message);

  /// Tells the writer that all options were offered.
  static void notifyOptionsSet(WriterPlugin& writer);
};
