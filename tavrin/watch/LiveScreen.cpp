#include "tavrin/watch/LiveScreen.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "hostcommon/NumberText.h"
#include "tavrin/common/PlainText.h"
#include "tavrin/common/Terminal.h"

namespace tavrin {

namespace {

constexpr const char* kGap = "  ";
constexpr const char* kNothing = "-";

std::string fixed(double value, int decimals) {
  std::string text;
  pwr::appendFixed(text, value, decimals);
  return text;
}

std::string textOf(const LiveTable::Column& column, const LiveTable::Cell& cell) {
  if (cell.count == 0) return cell.text.empty() ? kNothing : escaped(cell.text);
  const double value = LiveTable::valueOf(column, cell);
  // Four digits say enough of a number that changes every second.
  return fixed(value, std::abs(value) < 999.995 ? 2 : 0);
}

/// How many places of a terminal the text takes: one for each character.
std::size_t placesOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; }));
}

/// As much of the text as takes that many places.
std::string cutTo(const std::string& text, std::size_t width) {
  std::size_t end = 0;
  for (std::size_t places = 0; end < text.size(); ++end) {
    if ((text[end] & 0xC0) != 0x80 && ++places > width) break;
  }
  return text.substr(0, end);
}

std::string padded(const std::string& text, std::size_t width, bool toTheRight) {
  const std::size_t places = placesOf(text);
  const std::string blanks(width > places ? width - places : 0, ' ');
  return toTheRight ? blanks + text : text + blanks;
}

/// The names of rows first, then the cells; the headings are the first row.
std::vector<std::vector<std::string>> textsOf(const LiveTable::Section& section) {
  std::vector<std::vector<std::string>> rows(1);
  rows.front().push_back(escaped(section.subject));
  for (const LiveTable::Column& column : section.columns) {
    rows.front().push_back(escaped(column.name) +
                           (column.units.empty() ? "" : " " + escaped(column.units)));
  }
  for (const LiveTable::Row& row : section.rows) {
    std::vector<std::string>& texts = rows.emplace_back();
    texts.push_back(escaped(row.name));
    for (std::size_t column = 0; column < section.columns.size(); ++column) {
      texts.push_back(column < row.cells.size() ? textOf(section.columns[column], row.cells[column])
                                                : kNothing);
    }
  }
  return rows;
}

}  // namespace

LiveScreen::LiveScreen() : inPlace_(isCapableTerminal(stdout)) {}

std::vector<std::size_t> LiveScreen::widthsOf(const std::string& subject, const Rows& rows) {
  std::vector<std::size_t>& widths = widths_[subject];
  widths.resize(rows.front().size());
  for (const auto& texts : rows) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
      widths[i] = std::max(widths[i], placesOf(texts[i]));
    }
  }
  return widths;
}

void LiveScreen::appendSection(std::vector<std::string>& lines, const LiveTable::Section& section,
                               const std::string& time, std::size_t width) {
  const Rows rows = textsOf(section);
  const std::vector<std::size_t> widths = widthsOf(section.subject, rows);
  const std::size_t start = time.empty() ? 0 : time.size() + 2;
  for (std::size_t first = 1; first < widths.size();) {
    std::size_t end = first;
    std::size_t used = start + widths[0];
    do used += 2 + widths[end++];
    while (end < widths.size() && used + 2 + widths[end] <= width);
    for (std::size_t row = 0; row < rows.size(); ++row) {
      std::string line = row == 0 ? std::string(start, ' ') : time.empty() ? "" : time + kGap;
      line += padded(rows[row][0], widths[0], false);
      for (std::size_t i = first; i < end; ++i)
        line += kGap + padded(rows[row][i], widths[i], true);
      lines.push_back(std::move(line));
    }
    first = end;
  }
}

std::vector<std::string> LiveScreen::linesOf(const std::vector<LiveTable::Section>& sections,
                                             const std::string& time, std::size_t width) {
  std::vector<std::string> lines;
  for (const LiveTable::Section& section : sections) {
    if (section.rows.empty()) continue;
    if (!lines.empty()) lines.emplace_back();
    appendSection(lines, section, time, width);
  }
  return lines;
}

/// Overwrites line by line, which flickers less than emptying the screen first. What does not fit a
/// line is cut: a line that the terminal breaks would move all others.
void LiveScreen::paint(const std::vector<std::string>& lines, double seconds) const {
  const TerminalSize size = terminalSize(stdout);
  const std::size_t room = std::max(size.lines, 4U) - 3;
  std::string text = isFirst_ ? "\033[H\033[2J" : "\033[H";
  const auto add = [&](const std::string& line) { text += cutTo(line, size.columns) + "\033[K\n"; };
  add("tavrin watch  " + fixed(seconds, 1) + " s  Ctrl-C ends it");
  for (std::size_t i = 0; i < std::min(room, lines.size()); ++i) add(lines[i]);
  if (lines.size() > room) {
    add(std::to_string(lines.size() - room) + " more lines (--show, --hide choose)");
  }
  text += "\033[J";
  std::fputs(text.c_str(), stdout);
}

void LiveScreen::show(const std::vector<LiveTable::Section>& sections, double seconds) {
  if (inPlace_) {
    paint(linesOf(sections, "", terminalSize(stdout).columns), seconds);
  } else {
    constexpr std::size_t kAnyWidth = ~std::size_t{0};
    const std::string time = padded(fixed(seconds, 3), 9, true);
    std::string text = isFirst_ ? "" : "\n";
    for (const std::string& line : linesOf(sections, time, kAnyWidth)) text += line + "\n";
    std::fputs(text.c_str(), stdout);
  }
  std::fflush(stdout);
  isFirst_ = false;
}

}  // namespace tavrin
