#include "readers/TraceCursor.h"

#include "formats/ztjson_format.h"
#include "readers/PlainText.h"

namespace ztjson {

bool TraceCursor::nextGroup() {
  if (groupAt_ == groups_.value().MemberEnd()) return false;
  ++groupCount_;
  groupNode_.emplace(groups_.memberAt(groupAt_++));
  containers_.emplace(groupNode_->member(trace::kData).object());
  containerAt_ = containers_->value().MemberBegin();
  names_.clear();
  return true;
}

bool TraceCursor::nextContainer() {
  while (!containers_ || containerAt_ == containers_->value().MemberEnd()) {
    if (!nextGroup()) return false;
  }
  container_ = {containerAt_->name.GetString(), containerAt_->name.GetStringLength()};
  containerNode_.emplace(containers_->memberAt(containerAt_++));
  containerNode_->require(names_.insert(container_).second, "each container once");
  const JsonNode ownName = containerNode_->object().member(trace::kName);
  ownName.require(ownName.text() == container_, "once more " + inQuotes(container_));
  containerNode_->member(trace::kFriendlyName).text();
  points_.emplace(containerNode_->member(trace::kPoints).array());
  pointAt_ = 0;
  times_.clear();
  return true;
}

bool TraceCursor::next() {
  while (!points_ || pointAt_ == points_->value().Size()) {
    if (!nextContainer()) return false;
  }
  point_.emplace(points_->elementAt(pointAt_++));
  return true;
}

}  // namespace ztjson
