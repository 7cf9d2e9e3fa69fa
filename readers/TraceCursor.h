#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "readers/JsonNode.h"

namespace ztjson {

/// Walks through the points of a trace's document, in its order, and checks the containers that it
/// comes through. Stays where it is: its nodes point to each other.
class TraceCursor {
 public:
  /// `data` is the member of the document that has the groups; it must outlive the cursor.
  explicit TraceCursor(const JsonNode& data)
      : groups_(data), groupAt_(data.object().value().MemberBegin()) {}
  TraceCursor(const TraceCursor&) = delete;
  TraceCursor& operator=(const TraceCursor&) = delete;

  /// Goes to the next point, the first one at first; false behind the last. Throws FormatError.
  bool next();

  const JsonNode& point() const { return *point_; }
  /// Position of the point's group in the document.
  std::size_t group() const { return groupCount_ - 1; }
  std::string_view container() const { return container_; }
  /// The last time of a value with this name in the container.
  std::uint64_t& lastTime(std::string_view name) { return times_[name]; }

 private:
  bool nextGroup();
  bool nextContainer();

  const JsonNode& groups_;
  JsonValue::ConstMemberIterator groupAt_;  ///< the next one
  std::size_t groupCount_ = 0;
  std::optional<JsonNode> groupNode_;
  std::optional<JsonNode> containers_;
  JsonValue::ConstMemberIterator containerAt_;
  std::set<std::string_view> names_;  ///< of the group's containers so far
  std::optional<JsonNode> containerNode_;
  std::string_view container_;
  std::optional<JsonNode> points_;
  rapidjson::SizeType pointAt_ = 0;
  std::map<std::string_view, std::uint64_t> times_;
  std::optional<JsonNode> point_;
};

}  // namespace ztjson
