#pragma once

#include <optional>
#include <vector>

#include "tavrin/events/KernelEvent.h"
#include "tavrin/import/FtraceLine.h"

namespace tavrin {

/// Makes events of what lines of text say behind the name of the event.
class FtracePayload {
 public:
  /// What the line is about; its texts are those of the line, its fields are valid until the next
  /// call. An event that is known by its name but does not say what such events say, or in a way
  /// that could be understood otherwise, is an `OtherEvent`, and `isOdd` is true.
  ///
  /// Any other event has fields where all that it says is "name=value name=value", else that as its
  /// text. So have the marks that programs write into a recording, whatever they say.
  KernelEvent::What read(const FtraceLine& line);
  bool isOdd() const { return isOdd_; }

 private:
  OtherEvent other(const FtraceLine& line);
  bool readFields(std::string_view payload);

  std::vector<EventField> fields_;
  bool isOdd_ = false;
};

}  // namespace tavrin
