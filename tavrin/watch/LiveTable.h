#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hostcommon/summary/BusyTime.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// What an interval of a live collection says, in a section for each kind of things ("CPU", "Zone",
/// "Disk") with a row for each thing and a column for each thing that is measured of it:
///
///   residency    % of the interval; for CPUs also how much of it they were busy
///   counter      per second, in the unit of its rate where it has one
///   value        as it is, the mean of several
///   traced       events and changes per second; the last value where it is a text
///
/// A metric without things has a section of its own with one row; one whose elements tell in their
/// attributes whose they are, as of processes, a row for each of the interval. CPUs have a row of
/// all before theirs, with means of percentages and values and sums of rates. Sections, rows and
/// columns stay from interval to interval, so that they keep their places.
class LiveTable {
 public:
  /// Names of columns, metrics, features or sections. Of those to show the ones to hide are left
  /// out; all are shown where `show` is empty.
  struct Choice {
    std::vector<std::string> show;
    std::vector<std::string> hide;
  };

  struct Cell {
    double sum = 0.0;
    unsigned int count = 0;  ///< of the numbers in the sum; none: there is no number
    std::string text;        ///< where there is no number
  };
  struct Column {
    std::string name;      ///< "C6"
    std::string units;     ///< "%"
    bool adds = false;     ///< whether several are summed up, not averaged
    bool isCount = false;  ///< of an interval; a rate when it is taken
  };
  struct Row {
    std::string name;
    std::vector<Cell> cells;  ///< of the interval, by column; may be fewer
  };
  struct Section {
    std::string subject;  ///< what the rows are
    std::vector<Column> columns;
    std::vector<Row> rows;
  };

  /// `ticksPerSecond`: of the timestamp clock.
  LiveTable(Choice choice, double ticksPerSecond);

  /// The names by which the columns of a metric can be chosen.
  static std::vector<std::string> namesOf(const pwr::MetricDescription& metric);

  /// Adds a message of the interval.
  void add(const pwr::Metric& metric);
  /// What was added in an interval of this length, with the rows of all; the next one begins.
  std::vector<Section> take(double seconds);
  /// What a cell of the column shows. Only where it has numbers.
  static double valueOf(const Column& column, const Cell& cell) {
    return column.adds ? cell.sum : cell.sum / cell.count;
  }

 private:
  /// What is known of a metric's column.
  struct Place {
    std::size_t section = 0;
    std::size_t column = 0;
    bool isShown = false;
  };
  /// What is known of a section's metric that tells when CPUs are idle.
  struct Busy {
    const pwr::IdleStates* states = nullptr;
    std::size_t column = 0;
    bool isShown = false;
  };
  struct Shape {
    Section section;
    std::map<const pwr::EntityHandle*, std::size_t> rows;
    bool isList = false;  ///< its rows are those of an interval
  };

  bool isChosen(const pwr::MetricDescription& metric, const std::string& column) const;
  std::size_t sectionOf(const pwr::MetricDescription& metric);
  Place& placeOf(const pwr::MetricDescription& metric, const pwr::DataDescriptor* descriptor);
  Busy& busyOf(const pwr::MetricDescription& metric);
  std::size_t addColumn(std::size_t section, Column column, const pwr::MetricDescription& metric);
  Cell& cellAt(std::size_t section, const pwr::EntityHandle* entity, std::size_t column);
  void addListed(const Place& place, const pwr::DataElement& element);
  void addElement(const pwr::Metric& metric, const pwr::DataElement& element);
  void addBusy(const pwr::Metric& metric);
  static void divideCounts(Section& section, double seconds);
  static Row rowOfAll(const Section& section);

  const Choice choice_;
  const double ticksPerSecond_;
  std::vector<Shape> shapes_;
  std::map<std::string, std::size_t> sections_;  // by subject
  std::map<std::pair<unsigned int, const pwr::DataDescriptor*>, Place> places_;
  std::map<unsigned int, Busy> busy_;  // by metric
};

}  // namespace tavrin
