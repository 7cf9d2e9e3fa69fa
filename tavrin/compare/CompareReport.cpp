#include "tavrin/compare/CompareReport.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "hostcommon/NumberText.h"
#include "hostcommon/Utf8Text.h"
#include "tavrin/common/PlainText.h"
#include "tavrin/points/PointText.h"

namespace tavrin {

namespace {

using Row = std::vector<std::string>;

/// With four digits that say something, for people.
std::string shortNumber(double number) {
  constexpr int kDigits = 4;
  std::string text;
  const double size = std::abs(number);
  const int magnitude = size > 0.0 ? static_cast<int>(std::floor(std::log10(size))) : 0;
  pwr::appendFixed(text, number, std::clamp(kDigits - 1 - magnitude, 0, 9));
  return text;
}

std::string signedNumber(double number) {
  return (number > 0.0 ? "+" : "") + shortNumber(number);
}

std::string percentText(double percent) {
  std::string text;
  pwr::appendFixed(text, percent, 1);
  return (percent > 0.0 ? "+" : "") + text + "%";
}

std::string meanText(const std::optional<SideFigure>& side) {
  return side ? shortNumber(side->mean) : "-";
}

std::string verdictText(const ComparedFigure& figure) {
  if (!figure.isInBoth()) return figure.before ? "gone" : "new";
  if (figure.isReal()) return *figure.isReal() ? "real" : "chance";
  if (figure.before->values.size() == 1 && figure.after->values.size() == 1) return "";
  return figure.exceedsSpread ? "beyond the spread" : "within the spread";
}

/// The lengths of the intervals that power and energy are of.
std::string intervalText(const ComparedFigure& figure) {
  if (!figure.isEnergy) return "";
  const auto seconds = [](const std::optional<SideFigure>& side) {
    return side && side->seconds > 0.0 ? shortNumber(side->seconds) : std::string("-");
  };
  return seconds(figure.before) + " / " + seconds(figure.after) + " s";
}

Row textRow(const ComparedFigure& figure) {
  const FigureKey& key = figure.key;
  const bool isInBoth = figure.isInBoth();
  return {escaped(key.metric),
          escaped(key.entity),
          escaped(key.descriptor),
          nameOf(key.form),
          meanText(figure.before),
          meanText(figure.after),
          escaped(figure.unit),
          isInBoth ? signedNumber(figure.difference) : "",
          figure.percent ? percentText(*figure.percent) : "",
          isInBoth ? shortNumber(figure.spread) : "",
          verdictText(figure),
          intervalText(figure)};
}

/// Characters, which take a column each on most terminals.
std::size_t widthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char letter) { return (letter & 0xC0) != 0x80; }));
}

/// Numbers to the right, texts to the left; columns without a text are left out.
std::string aligned(const std::vector<Row>& rows, const std::vector<bool>& isNumber) {
  std::vector<std::size_t> widths(isNumber.size());
  std::vector<bool> isEmpty(isNumber.size(), true);
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], widthOf(row[i]));
      if (&row != &rows.front() && !row[i].empty()) isEmpty[i] = false;
    }
  }
  std::string text;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (isEmpty[i]) continue;
      const std::string gap(widths[i] - widthOf(row[i]), ' ');
      line += (line.empty() ? "" : "  ") + (isNumber[i] ? gap + row[i] : row[i] + gap);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  }
  return text;
}

std::string sideLine(const char* name, const std::vector<ComparedRun>& runs) {
  const auto [least, most] =
      std::ranges::minmax(runs, {}, [](const ComparedRun& run) { return run.facts.seconds; });
  std::string line = std::string(name) + ": " + std::to_string(runs.size()) +
                     (runs.size() == 1 ? " run of " : " runs of ") +
                     shortNumber(least.facts.seconds);
  if (runs.size() > 1) line += " to " + shortNumber(most.facts.seconds);
  return line + " s\n";
}

/// What CSV and JSON tell of a figure: name, and text or number, or nothing.
struct Cell {
  const char* name;
  std::optional<std::string> text;
  std::optional<double> number;
};

std::vector<Cell> cellsOf(const ComparedFigure& figure) {
  std::vector<Cell> cells{{"metric", figure.key.metric, {}},
                          {"entity", figure.key.entity, {}},
                          {"descriptor", figure.key.descriptor, {}},
                          {"figure", nameOf(figure.key.form), {}},
                          {"unit", figure.unit, {}}};
  const auto add = [&](const std::array<const char*, 4>& names,
                       const std::optional<SideFigure>& side) {
    const auto number = [&](double of) { return side ? std::optional(of) : std::nullopt; };
    const SideFigure known = side.value_or(SideFigure());
    cells.push_back({names[0], {}, number(known.mean)});
    cells.push_back({names[1], {}, number(known.spread)});
    cells.push_back({names[2], {}, static_cast<double>(known.values.size())});
    cells.push_back({names[3], {}, number(known.seconds)});
  };
  add({"a", "a_spread", "a_runs", "a_seconds"}, figure.before);
  add({"b", "b_spread", "b_runs", "b_seconds"}, figure.after);
  const auto both = [&](double of) { return figure.isInBoth() ? std::optional(of) : std::nullopt; };
  cells.push_back({"difference", {}, both(figure.difference)});
  cells.push_back({"percent", {}, figure.percent});
  cells.push_back({"spread", {}, both(figure.spread)});
  cells.push_back({"beyond_spread", {}, both(figure.exceedsSpread ? 1.0 : 0.0)});
  cells.push_back({"chance", {}, figure.chance});
  return cells;
}

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

void writeText(JsonWriter& json, const std::string& text) {
  const std::string valid = pwr::validUtf8(text);
  json.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

void writeRuns(JsonWriter& json, const char* name, const std::vector<ComparedRun>& runs) {
  json.Key(name);
  json.StartArray();
  for (const ComparedRun& run : runs) {
    json.StartObject();
    for (const auto& [key, text] :
         {std::pair("host", &run.facts.host), std::pair("processor", &run.facts.processor),
          std::pair("system", &run.facts.system), std::pair("clock", &run.facts.clock)}) {
      json.Key(key);
      writeText(json, *text);
    }
    json.Key("seconds");
    json.Double(run.facts.seconds);
    json.EndObject();
  }
  json.EndArray();
}

}  // namespace

std::string compareText(const std::vector<ComparedRun>& before,
                        const std::vector<ComparedRun>& after,
                        const std::vector<ComparedFigure>& figures, std::size_t mostRows) {
  std::string text = sideLine("A", before) + sideLine("B", after) + "\n";
  std::vector<const ComparedFigure*> changed;
  for (const ComparedFigure& figure : figures) {
    if (!figure.isInBoth() || figure.difference != 0.0) changed.push_back(&figure);
  }
  const std::size_t shown = mostRows == 0 ? changed.size() : std::min(mostRows, changed.size());
  std::vector<Row> rows{{"Metric", "Entity", "Descriptor", "Figure", "A", "B", "Unit", "Difference",
                         "Change", "Spread", "Verdict", "Interval A / B"}};
  for (std::size_t i = 0; i < shown; ++i) rows.push_back(textRow(*changed[i]));
  if (shown > 0)
    text += aligned(
        rows, {false, false, false, false, true, true, false, true, true, true, false, false});
  if (shown < changed.size()) {
    text += std::to_string(changed.size() - shown) + " more changed less (--top 0 shows all)\n";
  }
  if (changed.size() < figures.size()) {
    text += std::to_string(figures.size() - changed.size()) + " did not change\n";
  }
  return text;
}

std::string compareCsv(const std::vector<ComparedFigure>& figures) {
  std::string text;
  for (const Cell& cell : cellsOf({})) text += (text.empty() ? "" : ",") + std::string(cell.name);
  text += '\n';
  for (const ComparedFigure& figure : figures) {
    bool isFirst = true;
    for (const Cell& cell : cellsOf(figure)) {
      if (!std::exchange(isFirst, false)) text += ',';
      if (cell.text) appendText(text, *cell.text, PointFormat::Csv);
      if (cell.number) appendNumber(text, *cell.number, PointFormat::Csv);
    }
    text += '\n';
  }
  return text;
}

std::string compareJson(const std::vector<ComparedRun>& before,
                        const std::vector<ComparedRun>& after,
                        const std::vector<ComparedFigure>& figures) {
  rapidjson::StringBuffer buffer;
  JsonWriter json(buffer);
  json.StartObject();
  writeRuns(json, "a", before);
  writeRuns(json, "b", after);
  json.Key("figures");
  json.StartArray();
  for (const ComparedFigure& figure : figures) {
    json.StartObject();
    for (const Cell& cell : cellsOf(figure)) {
      json.Key(cell.name);
      if (cell.text) {
        writeText(json, *cell.text);
      } else if (cell.number && std::isfinite(*cell.number)) {
        json.Double(*cell.number);
      } else {
        json.Null();
      }
    }
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

}  // namespace tavrin
