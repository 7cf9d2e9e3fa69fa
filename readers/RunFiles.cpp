#include "readers/RunFiles.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include "formats/ztbin_format.h"
#include "formats/ztjson_format.h"
#include "hostcommon/Utf8Path.h"
#include "packing/Packing.h"
#include "readers/ResultReader.h"
#include "readers/ZtbinRecord.h"

namespace tavrin {

namespace {

/// A file name; one that was put together as BASE_N.ENDING in its parts.
struct InputName {
  std::string name;
  std::optional<std::uint32_t> number;
  std::string base;    ///< with the underscore
  std::string ending;  ///< with the dot, also those that tell how it is packed

  std::string with(std::uint32_t other) const { return base + std::to_string(other) + ending; }
};

InputName parse(const std::string& name) {
  const std::size_t dot = withoutPacking(name).rfind('.');
  const std::size_t line = name.rfind('_', dot);
  if (line == std::string::npos || dot == std::string::npos) return {name};
  InputName parts{.name = name, .base = name.substr(0, line + 1), .ending = name.substr(dot)};
  std::uint32_t number = 0;
  const char* const end = name.data() + dot;
  const auto [stop, error] = std::from_chars(name.data() + line + 1, end, number);
  // The writers put no zeros in front.
  if (error != std::errc() || stop != end || parts.with(number) != name) return {name};
  parts.number = number;
  return parts;
}

/// Whether the run that a file belongs to begins with it.
bool beginsRun(ResultFile& file) {
  namespace field = ztbin::string_record;
  if (file.format() != ResultFormat::BinaryStream) return true;
  const std::string_view head = file.head();
  return head.size() > field::kIndex + 1 &&
         head[ztbin::kTypeOffset] == static_cast<char>(ztbin::RecordType::String) &&
         head[field::kIndex] == static_cast<char>(ztbin::kFirstIndex) &&
         head[field::kIndex + 1] == 0;
}

/// What can be said of a file that has a number in its name.
struct Place {
  bool standsForItself = true;  ///< needs none of those before it
  bool buildsOnOthers = false;  ///< cannot be read without those before it
  ResultFormat format = ResultFormat::JsonTrace;
};

/// What is no regular file can be read only once.
Place placeOf(const std::string& name) {
  std::error_code ignored;
  if (std::filesystem::exists(pwr::pathFromUtf8(name), ignored) &&
      !std::filesystem::is_regular_file(pwr::pathFromUtf8(name), ignored)) {
    return {};
  }
  try {
    ResultFile file(name);
    const bool isFirst = beginsRun(file);
    return {.standsForItself = isFirst && file.format() != ResultFormat::NumberedJson,
            .buildsOnOthers = !isFirst,
            .format = file.format()};
  } catch (const std::runtime_error& fault) {
    throw ResultError(fault.what());
  }
}

/// The first system record of a binary stream.
struct Times {
  std::uint64_t start = 0;  ///< of the collection, in ticks
  std::uint64_t stop = 0;   ///< 0: it goes on
};

std::optional<Times> timesOf(ResultFile& file) {
  ztbin::ZtbinRecord record(file.stream());
  while (record.next() && record.type() == ztbin::RecordType::String) {
  }
  if (record.size() != ztbin::system_record::kSize) return std::nullopt;
  return Times{.start = record.u64(ztbin::system_record::kStartTimestamp),
               .stop = record.u64(ztbin::system_record::kStopTimestamp)};
}

/// The start of the collection of a continuous run, in ticks, as a file of it says near its
/// beginning.
std::optional<std::uint64_t> startOf(const std::string& name) {
  ResultFile file(name);
  if (file.format() == ResultFormat::BinaryStream) {
    const std::optional<Times> times = timesOf(file);
    return times ? std::optional(times->start) : std::nullopt;
  }
  if (file.format() != ResultFormat::NumberedJson) return std::nullopt;
  const std::string key = std::string("\"") + ztjson::kStartTimestamp + "\":\"";
  const std::string_view head = file.head();
  const std::size_t at = head.find(key);
  if (at == std::string_view::npos) return std::nullopt;
  std::uint64_t start = 0;
  const char* const text = head.data() + at + key.size();
  const auto [end, error] = std::from_chars(text, head.data() + head.size(), start);
  return error == std::errc() ? std::optional(start) : std::nullopt;
}

/// The files of one base by their numbers; a file without a number alone.
std::vector<std::vector<InputName>> groupByBase(const std::vector<std::string>& names) {
  std::vector<std::vector<InputName>> groups;
  std::map<std::pair<std::string, std::string>, std::size_t> places;
  for (const std::string& name : names) {
    InputName parts = parse(name);
    std::size_t place = groups.size();
    const std::string ending(withoutPacking(parts.ending));
    if (parts.number) place = places.try_emplace({parts.base, ending}, place).first->second;
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
  throw ResultError(file.name + ": " + missing + ", which comes before it, is not given");
}

/// Whether a file that can be read alone goes on with the run of another one.
bool continues(const InputName& before, const InputName& file, ResultFormat format) {
  if (format != ResultFormat::BinaryStream) return false;
  ResultFile one(before.name);
  if (one.format() != format) return false;
  const std::optional<Times> times = timesOf(one);
  return times && times->stop == 0 && times->start == startOf(file.name);
}

/// A file that builds on others needs them.
void requireFirst(const InputName& file, const Place& place) {
  if (!place.buildsOnOthers || *file.number == 0) return;
  throw ResultError(file.name + ": builds on the files of its run before it, but " +
                    file.with(*file.number - 1) + " is not given");
}

bool haveSameContent(const std::string& one, const std::string& other) {
  using Bytes = std::istreambuf_iterator<char>;
  try {
    ResultFile left(one);
    ResultFile right(other);
    return std::equal(Bytes(left.stream()), Bytes(), Bytes(right.stream()), Bytes());
  } catch (const std::runtime_error&) {
    return false;
  }
}

/// Whether a file is the one before it in another packing: after a crash a packed file may stand
/// beside what was packed.
bool repeats(const InputName& before, const InputName& file) {
  if (withoutPacking(before.name) != withoutPacking(file.name)) return false;
  if (before.name == file.name) throw ResultError(file.name + " is given twice");
  if (haveSameContent(before.name, file.name)) return true;
  throw ResultError(file.name + " is given twice, and " + before.name + " has another content");
}

void addRuns(const std::vector<InputName>& group, std::vector<RunFiles>& runs) {
  const InputName* before = nullptr;
  for (const InputName& file : group) {
    if (before != nullptr && repeats(*before, file)) continue;
    const Place place = file.number ? placeOf(file.name) : Place{};
    if (before != nullptr && !place.standsForItself) {
      requireNext(*before, file);
      runs.back().push_back(file.name);
    } else if (before != nullptr && continues(*before, file, place.format)) {
      runs.back().push_back(file.name);
    } else {
      if (before == nullptr) requireFirst(file, place);
      runs.push_back({file.name});
    }
    before = &file;
  }
}

}  // namespace

std::vector<RunFiles> sortIntoRuns(const std::vector<std::string>& names) {
  std::vector<RunFiles> runs;
  for (const auto& group : groupByBase(names)) addRuns(group, runs);
  return runs;
}

RunFiles withFollowing(const std::string& name) {
  RunFiles run{name};
  const InputName first = parse(name);
  if (!first.number) return run;
  const std::optional<std::uint64_t> start = startOf(name);
  for (std::uint32_t number = *first.number + 1; start; ++number) {
    std::string next = first.with(number);
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(pwr::pathFromUtf8(next), ignored) ||
        placeOf(next).standsForItself || startOf(next) != start) {
      break;
    }
    run.push_back(std::move(next));
  }
  return run;
}

std::string titleOf(const RunFiles& run) {
  return run.size() == 1 ? run.front() : run.front() + " to " + run.back();
}

}  // namespace tavrin
