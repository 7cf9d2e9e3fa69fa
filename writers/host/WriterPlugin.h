#pragma once

#include <deque>
#include <string>

#include "writers/host/HostApi.h"
#include "writers/host/IdMessage.h"
#include "writers/host/Metric.h"
#include "writers/host/MetricContainerInfoMessage.h"
#include "writers/host/Plugin.h"
#include "writers/host/SystemMessage.h"
#include "writers/host/TableMessage.h"
#include "writers/host/TextMessage.h"

/// Base of every writer. The host calls, all from one thread and in this order:
///
///   1. `handleBroadcastOption`, any number of times, then `notifyCommandlineParamsSet_i` once;
///   2. `openOutput` once;
///   3. `writeMessage`, any number of times: the `SystemMessage` first, the description of a metric
///      container before its tables; `flushContinuousResults` in between, when continuous output
///      is wanted and the writer's capability has the flag;
///   4. `closeOutput` once;
///   5. the destructor, which may also follow any earlier step and then removes what is temporary.
///
/// Integer results are 0 for success. A writer that reports a failure of a message has logged it
/// and goes on with the next; one whose `openOutput` failed gets no messages. Nothing throws. The
/// order of the virtual operations is part of the host interface.
class PW_HOST_API WriterPlugin : public Plugin {
 public:
  ~WriterPlugin() override;
  void addCapability(pwr::PluginCapability* capability) override;

  /// Opens or prepares the output. `baseName` is a path without extension, to which the writer adds
  /// its own. `continuous` asks for output that `flushContinuousResults` writes in pieces.
  virtual int openOutput(const std::string& baseName, bool continuous) = 0;
  /// Completes the output and closes every file. Non-zero when the output is not complete.
  virtual int closeOutput() = 0;
  /// Writes what has arrived so far as one more file. The base does nothing and returns false.
  virtual bool flushContinuousResults(const pwr::SystemMetadata& metadata);

 private:
  friend class WriterDispatch;

  // The host delivers messages through `WriterDispatch` (hostcommon). The base ignores them all.
  virtual int writeMessage(const pwr::MetricContainerInfoMessage& message);
  virtual int writeMessage(const pwr::Metric& metric);
  virtual int writeMessage(const pwr::IdMessage& message);
  virtual int writeMessage(const pwr::SystemMessage& message);
  virtual int writeMessage(const pwr::TextMessage& message);
  virtual int writeMessage(const pwr::TableMessage& message);

 protected:
  /// `guid`: 36 lower-case characters by which hosts know the writer.
  explicit WriterPlugin(const std::string& guid);

  /// Appends a title for every cell of a row of the table, in the order of the cells.
  virtual void getColumnTitles(const pwr::TableMessage& table,
                               std::deque<std::string>& titles) const;
  /// Appends the text of every cell of the message's row; "Invalid" where there is none.
  virtual void getRowValues(const pwr::TableMessage& table, std::deque<std::string>& values) const;

  /// The printable name of a column: the entity's name, where there is one, and the field name.
  std::string getFieldNameFromHandle(const pwr::TableMessage& table,
                                     const pwr::EntityHandle* entity,
                                     const pwr::DataHandle* handle) const;
};
