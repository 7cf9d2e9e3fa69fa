#include "writers/text/TextWriter.h"

#include <utility>

#include "writers/common/TextLog.h"

TextRun::~TextRun() = default;

int TextRun::write(const pwr::SystemMessage& message) {
  timeScale_.setTicksPerMicrosecond(message.getSystemMetadata()->getTscFrequencyMHz());
  return 0;
}

int TextRun::write(const pwr::TextMessage& message) {
  const auto [output, created] = outputs_.stageText(message.getId());
  if (output == nullptr) return 1;
  output->append(message.getMessage());
  return outputs_.checkStaging(*output);
}

TextWriter::TextWriter(const std::string& guid, pwr::WriterPluginCapability* capability,
                       MakeRun makeRun)
    : RunWriter(guid, capability, kTextLog, std::move(makeRun)) {}

TextWriter::~TextWriter() = default;
