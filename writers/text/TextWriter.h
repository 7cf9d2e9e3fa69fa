#pragma once

#include <string>

#include "writers/common/RunWriter.h"
#include "writers/common/TimeScale.h"
#include "writers/text/TextOutputManager.h"

/// What a text writer keeps while its output is open, and does with the messages that all text
/// writers treat alike. A derived run hands the order of the containers to `outputs()` before it
/// closes.
class TextRun {
 public:
  /// `timeScale`: without the clock's frequency, which comes with the system description.
  TextRun(const std::string& extension, const std::string& separator, const TimeScale& timeScale)
      : outputs_(extension, separator), timeScale_(timeScale) {}
  virtual ~TextRun();
  TextRun(const TextRun&) = delete;
  TextRun& operator=(const TextRun&) = delete;

  /// Creates baseName + extension.
  int open(const std::string& baseName) { return outputs_.open(baseName); }
  virtual int close() { return outputs_.close(); }
  static std::string closedLine(const std::string& /*baseName*/) {
    return "WARNING: Output file does not exist!\n";
  }

  int write(const pwr::SystemMessage& message);
  virtual int write(const pwr::TextMessage& message);
  virtual int write(const pwr::MetricContainerInfoMessage& /*message*/) { return 0; }
  virtual int write(const pwr::TableMessage& /*message*/) { return 0; }

 protected:
  TextOutputManager& outputs() { return outputs_; }
  const TimeScale& timeScale() const { return timeScale_; }

 private:
  TextOutputManager outputs_;
  TimeScale timeScale_;
};

/// Base of the writers that stage tables in temporary files.
class TextWriter : public RunWriter<TextRun> {
 public:
  ~TextWriter() override;

 protected:
  /// As for `RunWriter`.
  TextWriter(const std::string& guid, pwr::WriterPluginCapability* capability, MakeRun makeRun);
};
