#pragma once

#include <string>
#include <vector>

#include "writers/host/HostApi.h"

namespace pwr {

/// Lines of text that stand before and after a table or a metric container.
class PW_HOST_API TextNotes {
 public:
  TextNotes() = default;
  TextNotes(std::vector<std::string> preTable, std::vector<std::string> postTable)
      : preTable_(std::move(preTable)), postTable_(std::move(postTable)) {}

  /// Replace `out` by the notes; false, leaving `out` alone, when there are none.
  bool getPreTableNotes(std::vector<std::string>& out) const;
  bool getPostTableNotes(std::vector<std::string>& out) const;

 private:
  std::vector<std::string> preTable_;
  std::vector<std::string> postTable_;
};

}  // namespace pwr
