#include "writers/text/PrivateDirectory.h"

#include "hostcommon/Platform.h"

PrivateDirectory::~PrivateDirectory() {
  remove();
}

const std::string& PrivateDirectory::create() {
  if (path_.empty()) path_ = pwr::platform::createPrivateDirectory(parent_);
  return path_;
}

void PrivateDirectory::remove() {
  if (path_.empty()) return;
  pwr::platform::removePrivateDirectory(path_);
  path_.clear();
}
