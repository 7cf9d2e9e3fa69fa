#include "tavrin/service/Rotation.h"

#include <utility>
#include <vector>

#include "tavrin/common/Messages.h"

namespace tavrin {

bool Rotation::isTooOld(const RunFolder::File& file, Time now) const {
  return bounds_.ageSec > 0.0 &&
         std::chrono::duration<double>(now - file.modified).count() > bounds_.ageSec;
}

RunFolder::Content Rotation::trim(Time now, std::uint64_t coming) {
  RunFolder::Content content = folder_.look(now);
  std::vector<RunFolder::File> kept;
  for (RunFolder::File& file : content.files) {
    const bool isTooMuch = bounds_.bytes > 0 && content.bytes + coming > bounds_.bytes;
    if ((!isTooMuch && !isTooOld(file, now)) || !folder_.remove(file)) {
      kept.push_back(std::move(file));
      continue;
    }
    content.bytes -= file.size;
    ++removed_;
    if (!std::exchange(isTold_, true)) {
      inform("removed " + folder_.pathOf(file) + " for --keep; further ones are counted");
    }
  }
  content.files = std::move(kept);
  return content;
}

}  // namespace tavrin
