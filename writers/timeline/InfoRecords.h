#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "formats/pwr_format.h"
#include "writers/timeline/InfoTexts.h"
#include "writers/timeline/TimelineOutput.h"

/// Writes the metadata of the timeline file: info records, which bind an id to names. Every info
/// has a type, which is an info itself and is written when it is first asked for.
///
/// Ids are all ones (`pwrfile::kNone`) for none or after a failure; a status is 0 or 1. Failures
/// are logged.
class InfoRecords {
 public:
  /// A text is both the long name and the short name of its info.
  static constexpr std::size_t kMaxText =
      (pwrfile::info_record::kMaxNames - 1 - pwrfile::info_type::kText.size()) / 2;

  InfoRecords(TimelineOutput& output, bool legacy);

  /// The stream that gets the infos: that of the system. To be set before the first info.
  void setStreamKey(std::uint64_t key) { streamKey_ = key; }

  /// Writes an info once: the same one again is a success without a record. The three names and
  /// the description have to fit into `pwrfile::info_record::kMaxNames` bytes, one of them a NUL.
  int writeInfoRecord(std::string_view infoTypeName, std::uint64_t infoTypeId,
                      std::string_view longName, std::string_view shortName,
                      std::string_view description, std::uint64_t value, std::uint64_t uniqueId,
                      std::uint64_t parentUid);
  /// The same, with the type found (and written, if need be) by its name.
  int write(std::string_view infoTypeName, const InfoTexts& texts, std::uint64_t value,
            std::uint64_t uniqueId, std::uint64_t parentUid);

  std::uint64_t getInfoTypeId(std::string_view infoTypeName);
  /// The id that stands for a text in a data record. Fails for a text of more than `kMaxText`
  /// bytes.
  std::uint64_t getTextId(const std::string& text);
  /// Writes the classes of metrics.
  int writeMetricTypes();

 private:
  TimelineOutput& output_;
  std::uint64_t streamKey_ = pwrfile::kNone;
  std::array<std::byte, pwrfile::info_record::kNames + pwrfile::info_record::kMaxNames> record_{};
  std::string key_;  // kept for its memory
  std::unordered_set<std::string> written_;
  std::map<std::string, std::uint64_t, std::less<>> types_;
  std::unordered_map<std::string, std::uint64_t> texts_;
};
