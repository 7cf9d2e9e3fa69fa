#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "readers/ZtbinReader.h"
#include "tavrin/inspect/InspectReport.h"

namespace tavrin {

/// Inspects the files of one run of the binary writer.
class BinaryRun {
 public:
  /// `withPoints`: print every point instead of a summary.
  explicit BinaryRun(bool withPoints) : report_(stdout, withPoints) {}

  /// Files are added in the order in which they were written. Throws CommandError.
  void add(const std::string& name);
  void finish();

 private:
  std::size_t placeOf(std::uint32_t id);
  void addPoint(const ztbin::Point& point);
  void addSystem();

  ztbin::ZtbinReader reader_;
  InspectReport report_;
  std::map<std::uint32_t, std::size_t> places_;
  std::string title_;
};

}  // namespace tavrin
