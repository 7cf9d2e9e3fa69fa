#include "writers/text/TextWriter.h"

TextWriter::TextWriter(const std::string& guid, const std::string& extension,
                       const std::string& separator)
    : WriterPlugin(guid), outputs_(extension, separator) {}

TextWriter::~TextWriter() = default;

int TextWriter::openOutput(const std::string& baseName, bool /*continuous*/) {
  return outputs_.open(baseName);
}

int TextWriter::closeOutput() {
  return outputs_.close();
}

int TextWriter::writeMessage(const pwr::SystemMessage& message) {
  outputs_.timeScale().setTicksPerMicrosecond(message.getSystemMetadata()->getTscFrequencyMHz());
  return 0;
}

int TextWriter::writeMessage(const pwr::TextMessage& message) {
  const auto [output, created] = outputs_.stageText(message.getId());
  if (output == nullptr) return 1;
  output->append(message.getMessage());
  return outputs_.checkStaging(*output);
}
