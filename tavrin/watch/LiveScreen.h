#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tavrin/watch/LiveTable.h"

namespace tavrin {

/// Prints the intervals of a live collection one by one on standard output: on a terminal in the
/// place of the one before, else as rows that each begin with their time.
class LiveScreen {
 public:
  LiveScreen();

  /// `seconds`: from the start to the end of the interval.
  void show(const std::vector<LiveTable::Section>& sections, double seconds);

  /// The interval as lines without line breaks. A row begins with `time`, its heading with spaces,
  /// where it is not empty. Lines of more than `width` characters continue below, with the row's
  /// name repeated. Columns keep the widths that they have grown to.
  std::vector<std::string> linesOf(const std::vector<LiveTable::Section>& sections,
                                   const std::string& time, std::size_t width);

 private:
  using Rows = std::vector<std::vector<std::string>>;

  void appendSection(std::vector<std::string>& lines, const LiveTable::Section& section,
                     const std::string& time, std::size_t width);
  std::vector<std::size_t> widthsOf(const std::string& subject, const Rows& rows);
  void paint(const std::vector<std::string>& lines, double seconds) const;

  const bool inPlace_;
  bool isFirst_ = true;
  std::map<std::string, std::vector<std::size_t>> widths_;  // by subject
};

}  // namespace tavrin
