#pragma once

#include <functional>
#include <string>

#include "readers/PwrReader.h"

namespace pwrfile {

/// A timeline file as text: each record is a line of fields separated by tabs, the first of which
/// says what record it is. The same file gives the same text. Ids are followed by the name that
/// they lead to, texts of the file are made printable.
class PwrText : public PwrSink {
 public:
  using LineSink = std::function<void(const std::string&)>;

  /// `reader` is the one that calls; `line` gets each line, without its end.
  PwrText(const PwrReader& reader, LineSink line) : reader_(reader), line_(std::move(line)) {}

  void system(const System& system) override;
  void info(const Info& info) override;
  void endOfMetadata() override { line_("magic"); }
  void data(const DataRecord& record) override;

  /// What an attribute's value stands for: the name of what it refers to, or a number.
  static std::string valueText(const PwrReader& reader, const Attribute& attribute);

 private:
  std::string nameText(std::uint64_t id) const;

  const PwrReader& reader_;
  LineSink line_;
};

/// "6.1.0.0", and what else of a system is put together from several numbers.
std::string versionText(const System& system);
std::string collectorText(const System& system);
/// Three bytes in hexadecimal digits.
std::string cpuIdText(const System& system);
/// Each logical CPU as package/core/thread.
std::string cpusText(const System& system);
/// Date and time of the collection's start, to 100 ns. The mere number where it is no usual date.
std::string startText(const System& system);

}  // namespace pwrfile
