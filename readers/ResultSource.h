#pragma once

#include <deque>
#include <istream>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "readers/ResultReader.h"

namespace tavrin {

/// Behind the face of every format: what it has described so far, and its points. Texts are views
/// of what the source keeps as long as it lives.
class ResultSource {
 public:
  ResultSource() = default;
  ResultSource(const ResultSource&) = delete;
  ResultSource& operator=(const ResultSource&) = delete;
  virtual ~ResultSource() = default;

  /// Reads the next file of the run up to its first point. `file` stays until the next call.
  /// Throws FormatError.
  virtual void open(std::istream& file) = 0;
  /// Reads the next point of the file; false at its end. Throws FormatError.
  virtual bool next(Point& point) = 0;

  virtual Clock clock() const = 0;
  virtual std::vector<Fact> system() const = 0;
  virtual std::vector<Fact> remarks() const { return {}; }

  // Positions in these are what the face hands out.
  std::deque<Metric> metrics;
  std::deque<Entity> entities;
  std::deque<Series> series;
  std::deque<std::string_view> texts;
  std::deque<Task> processes;
  std::deque<Task> threads;

 protected:
  /// The position of the entity with this qualified name, which is known by no more than that and
  /// stays where it is. None for an empty one.
  std::uint32_t entityOf(std::string_view qualifiedName);

 private:
  std::unordered_map<std::string_view, std::uint32_t> entityPlaces_;
};

/// The position that the next element of a list will have.
template <typename List>
std::uint32_t nextPlace(const List& list) {
  return static_cast<std::uint32_t>(list.size());
}

/// The kind that a word of the formats stands for (formats/metric_kinds.h).
MetricKind kindOfWord(std::string_view word);

/// Ticks per microsecond of a run that has ended, from its length in ticks and in seconds; none
/// where they do not give one.
std::optional<double> clockOf(const Clock& known);

std::unique_ptr<ResultSource> makeBinarySource();
std::unique_ptr<ResultSource> makeJsonSource();
std::unique_ptr<ResultSource> makeTimelineSource();

}  // namespace tavrin
