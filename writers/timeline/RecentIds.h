#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "formats/pwr_format.h"

/// The ids of the texts that were asked for last, for texts of which there may be any number: at
/// least the last `capacity` different ones are known, and never more than twice as many kept. Two
/// tables that take turns do without the order of use that a list would keep at every look-up.
class RecentIds {
 public:
  explicit RecentIds(std::size_t capacity) : capacity_(capacity) {}

  /// `pwrfile::kNone` for a text that is not known (any more).
  std::uint64_t find(const std::string& text) {
    const auto recent = recent_.find(text);
    if (recent != recent_.end()) return recent->second;
    const auto earlier = earlier_.find(text);
    if (earlier == earlier_.end()) return pwrfile::kNone;
    const std::uint64_t id = earlier->second;
    auto node = earlier_.extract(earlier);
    makeRoom_i();
    recent_.insert(std::move(node));
    return id;
  }

  /// For a text that is not known.
  void add(const std::string& text, std::uint64_t id) {
    makeRoom_i();
    recent_.emplace(text, id);
  }

  std::size_t size() const { return recent_.size() + earlier_.size(); }

 private:
  void makeRoom_i() {
    if (recent_.size() < capacity_) return;
    earlier_.swap(recent_);
    recent_.clear();
  }

  const std::size_t capacity_;
  std::unordered_map<std::string, std::uint64_t> recent_;
  std::unordered_map<std::string, std::uint64_t> earlier_;
};
