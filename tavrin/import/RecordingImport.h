#pragma once

#include <functional>
#include <string>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "tavrin/common/Import.h"
#include "tavrin/import/EventImport.h"
#include "tavrin/import/RandomBytes.h"
#include "tavrin/import/Recording.h"

namespace tavrin {

class MergedEvents;
class RecordedEvents;

/// Delivers a kernel recording of version 6 or 7 (`trace.dat`): the events of all its buffers,
/// merged by time. Of a damaged one, all events that can be read.
class RecordingImport final : public Import {
 public:
  /// `patterns`: which events become metrics of their own. `isStopped` tells whether to end early.
  /// `sink` is not owned. Throws CommandError when the file cannot be opened.
  RecordingImport(const std::string& path, std::vector<std::string> patterns,
                  pwr::MessageSink& sink, std::function<bool()> isStopped);

  int replay(std::string& error) override;
  std::vector<std::string> warnings() const override { return warnings_; }

 private:
  EventImport::Facts facts() const;
  void tellGaps();
  void deliver(MergedEvents& events, RecordedEvents& decoder);
  int status(const std::vector<std::string>& faults, std::string& error) const;

  const std::string path_;
  const std::function<bool()> isStopped_;
  FileBytes file_;
  Recording recording_;
  EventImport import_;
  std::vector<std::string> warnings_;
};

}  // namespace tavrin
