#include "writers/timeline/TimelineOutput.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <utility>

#include "formats/pwr_format.h"
#include "writers/common/LittleEndian.h"
#include "writers/timeline/TimelineLog.h"

namespace {

/// Says so, and is false.
bool failToRead(const RecordStream& stream) {
  TIMELINE_WARNING("Failed to read from backing store '%s'. \n",
                   stream.store->getTempFileName().c_str());
  return false;
}

}  // namespace

TimelineOutput::TimelineOutput(const std::string& baseName) : path_(baseName + ".pwr") {}

bool TimelineOutput::setMetricName(std::uint32_t id, const std::string& name) {
  const auto [place, isNew] = metricNames_.try_emplace(id, name);
  if (!isNew && place->second == name) return false;
  place->second = name;
  return true;
}

std::string TimelineOutput::nameOf(std::uint64_t key) const {
  return nameOf_i(key, kUnknownMetric);
}

std::string TimelineOutput::nameOf_i(std::uint64_t key, const char* prefix) const {
  const auto known = metricNames_.find(key);
  return known != metricNames_.end() ? known->second : prefix + std::to_string(key);
}

RecordStream& TimelineOutput::findOrMake_i(std::uint64_t key, const char* prefix) {
  const auto [place, isNew] = streams_.try_emplace(key);
  RecordStream& stream = place->second;
  if (!isNew) return stream;
  stream.name = nameOf_i(key, prefix);
  // The store throws when it cannot have its file; it has said why by then.
  try {
    stream.store.emplace();
  } catch (...) {
    stream.supported = false;
    incomplete_ = true;
  }
  return stream;
}

int TimelineOutput::append_i(RecordStream& stream, const std::byte* bytes, std::size_t length) {
  pwr::ZtExtensibleBackingStore& store = *stream.store;
  // What is left of a record that failed would throw every reader off course.
  const bool isAtEnd = !stream.endsInHalfRecord || (store.setReadPosition(stream.length) &&
                                                    store.seekWriteToRead() == stream.length);
  if (isAtEnd && store.write(bytes, static_cast<std::uint32_t>(length)) == length) {
    stream.length += length;
    stream.endsInHalfRecord = false;
    return 0;
  }
  stream.endsInHalfRecord = true;
  incomplete_ = true;
  TIMELINE_WARNING("Failed to write to tmp file %s\n", store.getTempFileName().c_str());
  return 1;
}

void TimelineOutput::markUnsupported(std::uint32_t metricId) {
  findOrMake_i(metricId, kUnnamedMetric).supported = false;
}

bool TimelineOutput::isSupported(std::uint32_t metricId) const {
  const auto place = streams_.find(metricId);
  return place == streams_.end() || place->second.supported;
}

void TimelineOutput::visitData(std::uint64_t key, const RecordEdit& visit) {
  const auto place = streams_.find(key);
  if (place == streams_.end() || !place->second.hasData) return;
  RecordStream& stream = place->second;
  std::string record;
  std::uint64_t visited = 0;
  stream.store->resetForReading();
  while (visited < stream.length && readData_i(stream, record)) {
    visit(reinterpret_cast<std::byte*>(record.data()));
    visited += record.size();
  }
  if (visited == stream.length) return;
  stream.length = visited;
  incomplete_ = true;
}

void TimelineOutput::setEdit(std::uint64_t key, RecordEdit edit) {
  const auto place = streams_.find(key);
  if (place != streams_.end() && place->second.hasData) place->second.edit = std::move(edit);
}

int TimelineOutput::close() {
  lastStream_ = nullptr;
  const bool hasFile = usable_ && hasData_i();
  if (hasFile && !openFile_i()) return 1;
  for (auto place = streams_.begin(); place != streams_.end(); place = streams_.erase(place)) {
    RecordStream& stream = place->second;
    if (usable_ && !copy_i(stream)) incomplete_ = true;
    if (!stream.store) continue;
    TIMELINE_INFO("Removing tmp backing store file: %s\n", stream.store->getTempFileName().c_str());
  }
  if (!hasFile) {
    PW_LOG(kTimelineLog, PW_LOG_NOTE,
           "Note: A .pwr result file was not created. No supported metric was found.\n");
    return incomplete_ ? 1 : 0;
  }
  if (incomplete_) file_.noteLoss();
  return file_.close();
}

bool TimelineOutput::hasData_i() const {
  return std::ranges::any_of(
      streams_, [](const auto& entry) { return entry.second.supported && entry.second.hasData; });
}

bool TimelineOutput::openFile_i() {
  if (!file_.open(path_)) {
    TIMELINE_WARNING("Could not create %s\n", path_.c_str());
    return false;
  }
  // The pieces are large: a buffer would only copy them once more.
  std::setvbuf(file_.stream(), nullptr, _IONBF, 0);
  return true;
}

/// Without an open file there is only the note on what is left out.
bool TimelineOutput::copy_i(RecordStream& stream) {
  if (stream.store) {
    TIMELINE_INFO("Processing tmp file: %s\n", stream.store->getTempFileName().c_str());
  }
  if (!stream.supported) {
    PW_LOG(kTimelineLog, PW_LOG_NOTE,
           "Note: The .pwr file will not contain data associated with '%s'. This metric is not "
           "supported for visualization in Korvell(TM).\n",
           stream.name.c_str());
    return true;
  }
  if (!file_.isOpen() || !file_.isComplete()) return true;
  stream.store->resetForReading();
  return stream.edit == nullptr ? copyBytes_i(stream) : copyData_i(stream);
}

bool TimelineOutput::copyBytes_i(RecordStream& stream) {
  for (std::uint64_t left = stream.length; left > 0;) {
    const std::span<const char> bytes = stream.store->readInPlace();
    if (bytes.empty()) return failToRead(stream);
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, bytes.size()));
    if (!write_i(stream, {bytes.data(), count})) return false;
    left -= count;
  }
  return true;
}

bool TimelineOutput::copyData_i(RecordStream& stream) {
  constexpr std::size_t kPiece = std::size_t{64} * 1024;
  std::string record;
  std::string piece;
  for (std::uint64_t left = stream.length; left > 0; left -= record.size()) {
    if (!readData_i(stream, record)) return false;
    stream.edit(reinterpret_cast<std::byte*>(record.data()));
    piece += record;
    if (piece.size() < kPiece && record.size() < left) continue;
    if (!write_i(stream, piece)) return false;
    piece.clear();
  }
  return true;
}

/// Reads the next data record.
bool TimelineOutput::readData_i(RecordStream& stream, std::string& record) {
  const auto read = [&](std::size_t from, std::size_t to) {
    record.resize(to);
    const auto count = static_cast<std::uint32_t>(to - from);
    return stream.store->read(record.data() + from, count) == count;
  };
  if (!read(0, pwrfile::kDataHeaderSize)) return failToRead(stream);
  const auto length = getLittleEndian<std::uint16_t>(
      reinterpret_cast<const std::byte*>(record.data()) + pwrfile::kDataLength);
  const bool isRead = read(pwrfile::kDataHeaderSize, length + pwrfile::kDataLengthLess);
  return isRead || failToRead(stream);
}

bool TimelineOutput::write_i(const RecordStream& stream, std::string_view bytes) {
  if (file_.write(bytes)) return true;
  TIMELINE_WARNING("Failed to write backing store '%s' buffer to main output file. \n",
                   stream.store->getTempFileName().c_str());
  return false;
}
