#include "tavrin/inspect/FileRun.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include "hostcommon/Utf8Path.h"
#include "readers/ZtbinReader.h"
#include "readers/ZtjsonReader.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/inspect/InputFile.h"

namespace tavrin {

namespace {

/// A file name; one that was put together as BASE_N.ENDING in its parts.
struct InputName {
  std::string name;
  std::optional<std::uint32_t> number;
  std::string base;    ///< with the underscore
  std::string ending;  ///< with the dot

  std::string with(std::uint32_t other) const { return base + std::to_string(other) + ending; }
};

InputName parse(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  const std::size_t line = name.rfind('_', dot);
  if (isTimeline(name) || line == std::string::npos || dot == std::string::npos) return {name};
  InputName parts{.name = name, .base = name.substr(0, line + 1), .ending = name.substr(dot)};
  std::uint32_t number = 0;
  const char* const end = name.data() + dot;
  const auto [stop, error] = std::from_chars(name.data() + line + 1, end, number);
  // The writers put no zeros in front.
  if (error != std::errc() || stop != end || parts.with(number) != name) return {name};
  parts.number = number;
  return parts;
}

/// Whether a file needs none of those before it. What is no regular file can be read only once.
bool standsForItself(const std::string& name) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(pwr::pathFromUtf8(name), ignored)) return true;
  std::ifstream file = openFile(name);
  return isBinary(name) ? ztbin::ZtbinReader::beginsRun(file)
                        : !ztjson::ZtjsonReader::isNumbered(file);
}

/// The files of one base by their numbers; a file without a number alone.
std::vector<std::vector<InputName>> groupByBase(const std::vector<std::string>& names) {
  std::vector<std::vector<InputName>> groups;
  std::map<std::pair<std::string, std::string>, std::size_t> places;
  for (const std::string& name : names) {
    InputName parts = parse(name);
    std::size_t place = groups.size();
    if (parts.number) place = places.try_emplace({parts.base, parts.ending}, place).first->second;
    if (place == groups.size()) groups.emplace_back();
    groups[place].push_back(std::move(parts));
  }
  for (auto& group : groups) std::ranges::stable_sort(group, {}, &InputName::number);
  return groups;
}

/// `before` and `file` are of one run.
void requireNext(const InputName& before, const InputName& file) {
  const std::uint32_t next = *before.number + 1;
  if (*file.number == next) return;
  std::string missing = file.with(next);
  if (*file.number > next + 1) missing += " to " + file.with(*file.number - 1);
  throw CommandError(kExitIncomplete,
                     file.name + ": " + missing + ", which comes before it, is not given");
}

/// A binary file may build on others, which it needs then.
void requireFirst(const InputName& file) {
  if (!isBinary(file.name) || !file.number || *file.number == 0) return;
  if (standsForItself(file.name)) return;
  throw CommandError(kExitIncomplete, file.name +
                                          ": builds on the files of its run before it, but " +
                                          file.with(*file.number - 1) + " is not given");
}

void addRuns(const std::vector<InputName>& group, std::vector<FileRun>& runs) {
  const InputName* before = nullptr;
  for (const InputName& file : group) {
    if (before != nullptr && before->name == file.name) {
      throw CommandError(kExitIncomplete, file.name + " is given twice");
    }
    if (before != nullptr && !standsForItself(file.name)) {
      requireNext(*before, file);
      runs.back().push_back(file.name);
    } else {
      if (before == nullptr) requireFirst(file);
      runs.push_back({file.name});
    }
    before = &file;
  }
}

}  // namespace

bool isBinary(const std::string& name) {
  return name.ends_with(".ztbin");
}

bool isTrace(const std::string& name) {
  return name.ends_with(".ztjson");
}

bool isTimeline(const std::string& name) {
  return name.ends_with(".pwr");
}

std::vector<FileRun> sortIntoRuns(const std::vector<std::string>& names) {
  std::vector<FileRun> runs;
  for (const auto& group : groupByBase(names)) addRuns(group, runs);
  return runs;
}

std::string titleOf(const FileRun& run) {
  return run.size() == 1 ? run.front() : run.front() + " to " + run.back();
}

}  // namespace tavrin
