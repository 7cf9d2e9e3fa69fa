#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tavrin/common/Import.h"
#include "tavrin/import/EventImport.h"
#include "tavrin/import/FtraceLine.h"
#include "tavrin/import/FtraceNote.h"
#include "tavrin/import/FtracePayload.h"
#include "tavrin/import/TracePage.h"
#include "tavrin/stream/LineReader.h"

namespace tavrin {

/// Imports a recording of the kernel's events that was printed as text: by `trace-cmd report`, from
/// the kernel's file "trace", or in a page of Android's systrace. Described in
/// docs/formats/kernel-trace.md.
///
/// Lines that are no events and none of the notes that these programs print, and those that can be
/// read in more than one way, are left out; so is a last line without a line feed. All are counted.
class FtraceImport final : public Import {
 public:
  /// `patterns`: as `EventImport` takes them. `input` and `sink` are not owned.
  FtraceImport(ByteSource& input, std::vector<std::string> patterns, pwr::MessageSink& sink);

  int replay(std::string& error) override;
  std::vector<std::string> warnings() const override;

  /// Whether text that begins so is such a recording. `isAll`: nothing more comes.
  static bool isOurs(std::string_view head, bool isAll);

 private:
  /// Lines that something is to be said about.
  struct Remark {
    unsigned long long count = 0;
    unsigned long long first = 0;  // its number
    std::string event;             // of the first
  };

  int readLines(std::string& error);
  void take(std::string_view line);
  void takeEvent(const FtraceLine& line);
  void takeNote(const FtraceNote& note);
  void describe();
  void remark(Remark& remark, std::string_view event = {}) const;
  std::string atLine(unsigned long long line) const;

  ByteSource& input_;
  LineReader lines_;
  TracePage page_;
  FtracePayload payload_;
  EventImport events_;
  EventImport::Facts facts_;
  bool isDescribed_ = false;
  bool hasEvents_ = false;
  bool isCut_ = false;  // the last line
  Remark unreadable_;
  Remark ambiguous_;
  Remark odd_;
};

}  // namespace tavrin
