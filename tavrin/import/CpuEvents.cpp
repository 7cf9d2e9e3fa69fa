#include "tavrin/import/CpuEvents.h"

#include "readers/FormatError.h"

namespace tavrin {

bool CpuEvents::next() {
  isLoss_ = false;
  for (;;) {
    if (hasPage_ && page_.next()) {
      time_ = page_.time();
      return true;
    }
    if (!fault_.empty()) return false;
    if (hasPage_ && page_.fault() != nullptr) {
      // A page that ends with the file says less than why it does.
      fault_ = !pages_->fault().empty() ? pages_->fault()
                                        : pages_->placeOf(page_.position()) + ": " + page_.fault();
    } else if (!readPage() && fault_.empty()) {
      return false;
    }
    // What follows a damage is missing.
    isLoss_ = !fault_.empty() || page_.isAfterLoss();
    if (isLoss_) return true;
  }
}

/// False at the end.
bool CpuEvents::readPage() {
  const PageSource::Page page = pages_->next();
  hasPage_ = !page.bytes.empty();
  if (hasPage_) {
    page_.load(page.bytes, page.isCut);
  } else {
    fault_ = pages_->fault();
  }
  return hasPage_;
}

}  // namespace tavrin
