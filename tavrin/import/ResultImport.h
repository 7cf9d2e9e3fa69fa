#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hostcommon/session/MessageSink.h"
#include "readers/ResultReader.h"
#include "tavrin/common/Import.h"
#include "tavrin/import/Recognition.h"
#include "tavrin/import/ResultDescriptions.h"
#include "tavrin/import/SourceBuffer.h"

namespace tavrin {

/// A .ztbin, .ztjson or .pwr file, or the numbered ones of a continuous run, once more as messages.
/// Points of a metric that have one time and follow each other become one sample. What the format
/// has lost stays lost, of which the user is told at the start.
class ResultImport final : public Import {
 public:
  /// `input`, the first of the files, and `sink` are not owned.
  ResultImport(PeekedSource& input, pwr::MessageSink& sink, const ImportOptions& options);

  /// An error is "NAME: place: cause".
  int replay(std::string& error) override;

 private:
  void begin();
  void take(const Point& point);
  void deliver();
  void complete();

  PeekedSource& input_;
  pwr::MessageSink& sink_;
  SourceBuffer bytes_;
  std::vector<std::string> files_;
  unsigned int clockMHz_;  ///< that the user says; 0 for unknown
  std::optional<ResultReader> reader_;
  std::optional<ResultDescriptions> descriptions_;
  pwr::SystemMetadata metadata_;
  std::uint64_t latestEnd_ = 0;  ///< of an element, in ticks
  // The sample that is put together.
  std::uint32_t metric_ = 0;
  std::uint64_t time_ = 0;
  std::vector<pwr::DataElement> elements_;
  std::uint64_t sample_ = 1;                ///< its number
  std::vector<std::uint64_t> lastSamples_;  ///< of each series
};

}  // namespace tavrin
