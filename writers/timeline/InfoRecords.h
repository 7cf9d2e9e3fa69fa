#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>

#include "formats/pwr_format.h"
#include "writers/timeline/RecentIds.h"
#include "writers/timeline/TimelineOutput.h"

/// The texts of an info record, besides the name of its type.
struct InfoTexts {
  std::string_view longName;
  std::string_view shortName;
  std::string_view description;

  /// Cut where they do not fit into a record together with the name of their type: the description
  /// first, then the long name, and the short name when it takes more than half of the room.
  InfoTexts fitting(std::string_view typeName) const;
};

/// The longest start of `text` that has at most `maxBytes` bytes and ends with a whole character of
/// UTF-8.
std::string_view cutToFit(std::string_view text, std::size_t maxBytes);
/// The longest end of it that begins with one.
std::string_view endThatFits(std::string_view text, std::size_t maxBytes);

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
  /// Writes an info under an id that no other has had, so that it can be the same as none before or
  /// after it: nothing is kept of it.
  int writeNew(std::string_view infoTypeName, const InfoTexts& texts, std::uint64_t value,
               std::uint64_t newId, std::uint64_t parentUid);

  std::uint64_t getInfoTypeId(std::string_view infoTypeName);
  /// The id that stands for a text in a data record: the same one for a text that was asked for
  /// among the last `kRecentTexts` different ones. Fails for a text of more than `kMaxText` bytes.
  std::uint64_t getTextId(const std::string& text);
  /// Writes the classes of metrics.
  int writeMetricTypes();

 private:
  /// A run may have a text of its own with every event; most that come again come again soon.
  static constexpr std::size_t kRecentTexts = 16384;

  struct Info {
    std::string_view typeName;
    std::uint64_t typeId;
    InfoTexts texts;
    std::uint64_t value;
    std::uint64_t id;
    std::uint64_t parent;
  };

  static std::string keyOf_i(const Info& info);
  int append_i(const Info& info);

  TimelineOutput& output_;
  std::uint64_t streamKey_ = pwrfile::kNone;
  std::array<std::byte, pwrfile::info_record::kNames + pwrfile::info_record::kMaxNames> record_{};
  std::unordered_set<std::string> written_;  // keys
  std::map<std::string, std::uint64_t, std::less<>> types_;
  RecentIds texts_{kRecentTexts};
};
