#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tavrin/collect/Interval.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// A table of interrupts: a row of CPUs, then a row for each source with its count on each of them,
/// or with a single one of the whole machine. It is kept per source and per CPU: of 500 sources on
/// 128 CPUs nobody wants 64,000 series.
///
/// The counts have 32 bits. One that has run backwards has wrapped where that makes no more than
/// ten million a second; otherwise its source began anew, and has a gap.
class InterruptTable {
 public:
  /// Takes the counts of a pass, `seconds` after those of the last one. "" when there is no table.
  void read(std::string_view text, double seconds);

  /// Of the sources that have ever fired. Others join when they do, up to `kMostSources` in all.
  std::vector<pwr::Metric::EntityDescCombo> combinations() const;
  /// Adds the growth of each source since the last pass.
  void emit(IntervalPoint& point) const;
  /// What all sources have grown by on a CPU; nothing when it was not in the last table or is not
  /// in this one.
  std::optional<unsigned long long> growthOn(unsigned int cpu) const;

 private:
  static constexpr std::size_t kMostSources = 4096;
  static constexpr unsigned long long kUnknown = ~0ULL;
  static constexpr std::size_t kNowhere = ~std::size_t{0};

  struct Cpu {
    bool wasHere = false;  // in the last table
    bool isHere = false;   // in this one
    unsigned long long growth = 0;
  };
  struct Source {
    std::string key;                                  // "36" or "LOC"
    std::string label;                                // what it interrupts for: "virtio1-req.0"
    const pwr::DataDescriptor* descriptor = nullptr;  // null until it has fired
    std::vector<unsigned long long> counts;           // by the places of the CPUs
    unsigned long long growth = 0;
    bool hasInterval = false;  // whether the growth is known
    bool wasHere = false;
    bool isHere = false;
  };

  void beginPass();
  void placeColumns();
  void readRow(std::string_view line, double seconds);
  Source* find(std::string_view key, std::string_view label);
  void count(Source& source, std::size_t columns, double seconds);

  std::string heading_;                     // the row of CPUs
  std::vector<std::size_t> places_;         // of the columns' CPUs
  std::vector<unsigned long long> counts_;  // of a row, by column
  std::vector<Cpu> cpus_;                   // in the order of their appearance
  std::vector<std::size_t> placeByNumber_;  // of a CPU in them
  std::vector<Source> sources_;             // likewise
  std::size_t next_ = 0;                    // where the next row's source is expected
};

}  // namespace tavrin
