#pragma once

#include <string>

#include "writers/host/WriterPlugin.h"
#include "writers/text/TextOutputManager.h"

/// Base of the writers that stage tables in temporary files: opens and closes the output and takes
/// the messages that all of them treat alike. A derived writer hands the order of the containers
/// to `outputs()` before it closes.
class TextWriter : public WriterPlugin {
 public:
  ~TextWriter() override;

  /// Creates baseName + extension; `continuous` makes no difference.
  int openOutput(const std::string& baseName, bool continuous) override;
  int closeOutput() override;

 protected:
  TextWriter(const std::string& guid, const std::string& extension, const std::string& separator);

  TextOutputManager& outputs() { return outputs_; }
  const TextOutputManager& outputs() const { return outputs_; }

  int writeMessage(const pwr::SystemMessage& message) override;
  int writeMessage(const pwr::TextMessage& message) override;

 private:
  TextOutputManager outputs_;
};
