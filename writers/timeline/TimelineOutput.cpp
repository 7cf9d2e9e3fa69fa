#include "writers/timeline/TimelineOutput.h"

#include <algorithm>
#include <span>

#include "hostcommon/Platform.h"
#include "writers/host/HostFunctions.h"
#include "writers/timeline/DataRecords.h"
#include "writers/timeline/TimelineLog.h"

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

/// Null, with the output unusable, when the stream cannot be made.
RecordStream* TimelineOutput::findOrMake_i(std::uint64_t key, const char* prefix) {
  // The store throws when it cannot have its file; it has said why by then.
  try {
    const auto [place, isNew] = streams_.try_emplace(key);
    if (isNew) place->second.name = nameOf_i(key, prefix);
    return &place->second;
  } catch (...) {
    usable_ = false;
    incomplete_ = true;
    return nullptr;
  }
}

int TimelineOutput::append_i(RecordStream& stream, const std::byte* bytes, std::size_t length) {
  pwr::ZtExtensibleBackingStore& store = stream.store;
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
  PW_LOG(kTimelineLog, PW_LOG_WARNING,
         "WARNING: KorvellWriterPlugin:    Failed to write to tmp file %s\n",
         store.getTempFileName().c_str());
  return 1;
}

void TimelineOutput::markUnsupported(std::uint32_t metricId) {
  RecordStream* const stream = findOrMake_i(metricId, kUnnamedMetric);
  if (stream != nullptr) stream->supported = false;
}

bool TimelineOutput::isSupported(std::uint32_t metricId) const {
  const auto place = streams_.find(metricId);
  return place == streams_.end() || place->second.supported;
}

int TimelineOutput::close() {
  lastStream_ = nullptr;
  for (auto place = streams_.begin(); place != streams_.end(); place = streams_.erase(place)) {
    RecordStream& stream = place->second;
    if (usable_) {
      if (file_ == nullptr && !openFile_i()) return 1;
      if (!copy_i(stream)) incomplete_ = true;
    }
    PW_LOG(kTimelineLog, PW_LOG_INFO,
           "INFO: KorvellWriterPlugin:    Removing tmp backing store file: %s\n",
           stream.store.getTempFileName().c_str());
  }
  return usable_ && file_ != nullptr && DataRecords::isDataWritten() ? keepFile_i()
                                                                     : discardFile_i();
}

bool TimelineOutput::openFile_i() {
  if (!pwr::openFileHandle(&file_, path_.c_str(), "wb")) {
    PW_LOG(kTimelineLog, PW_LOG_WARNING, "WARNING: KorvellWriterPlugin:    Could not create %s\n",
           path_.c_str());
    return false;
  }
  // The pieces are large: a buffer would only copy them once more.
  std::setvbuf(file_, nullptr, _IONBF, 0);
  return true;
}

bool TimelineOutput::copy_i(RecordStream& stream) {
  pwr::ZtExtensibleBackingStore& store = stream.store;
  const char* const tempFile = store.getTempFileName().c_str();
  PW_LOG(kTimelineLog, PW_LOG_INFO, "INFO: KorvellWriterPlugin:    Processing tmp file: %s\n",
         tempFile);
  if (!stream.supported) {
    PW_LOG(kTimelineLog, PW_LOG_NOTE,
           "Note: The .pwr file will not contain data associated with '%s'. This metric is not "
           "supported for visualization in Korvell(TM).\n",
           stream.name.c_str());
    return true;
  }
  store.resetForReading();
  for (std::uint64_t left = stream.length; left > 0;) {
    const std::span<const char> bytes = store.readInPlace();
    if (bytes.empty()) {
      PW_LOG(kTimelineLog, PW_LOG_WARNING,
             "WARNING: KorvellWriterPlugin:    Failed to read from backing store '%s'. \n",
             tempFile);
      return false;
    }
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, bytes.size()));
    if (std::fwrite(bytes.data(), 1, count, file_) != count) {
      PW_LOG(kTimelineLog, PW_LOG_WARNING,
             "WARNING: KorvellWriterPlugin:    Failed to write backing store '%s' buffer to main "
             "output file. \n",
             tempFile);
      return false;
    }
    left -= count;
  }
  return true;
}

int TimelineOutput::keepFile_i() {
  const bool isFlushed = std::fflush(file_) == 0;
  const bool isClosed = std::fclose(file_) == 0;
  if (!isFlushed || !isClosed) incomplete_ = true;
  return status_i();
}

int TimelineOutput::discardFile_i() {
  if (file_ != nullptr) {
    const bool isClosed = std::fclose(file_) == 0;
    const bool isRemoved = pwr::platform::removeFile(path_);
    if (isClosed && !isRemoved) {
      PW_LOG(kTimelineLog, PW_LOG_ERROR,
             "ERROR: Failed to remove the .pwr result file \"%s\", the file is unusable.\n",
             path_.c_str());
      return status_i();
    }
  }
  PW_LOG(kTimelineLog, PW_LOG_NOTE,
         "Note: A .pwr result file was not created. No supported metric was found.\n");
  return status_i();
}
