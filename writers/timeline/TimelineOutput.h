#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "hostcommon/OutputFile.h"
#include "writers/columns/ZtExtensibleBackingStore.h"

/// Gets a data record whole, and may change what it says, but not its length.
using RecordEdit = std::function<void(std::byte* record)>;

/// The records of one stream key, until the file is put together.
struct RecordStream {
  /// None when it could not be created. The stream is not supported then.
  std::optional<pwr::ZtExtensibleBackingStore> store{};
  std::string name{};             ///< of the metric, for messages
  bool supported = true;          ///< false: the file gets nothing of the stream
  std::uint64_t length = 0;       ///< bytes of whole records
  bool endsInHalfRecord = false;  ///< after a record that the store did not take
  bool hasData = false;           ///< the records are data records
  RecordEdit edit{};              ///< of data records on their way into the file; none if empty
};

/// The output file of the timeline writer. Records are gathered in one temporary store per stream
/// key; `close` puts the stores one after the other into the file, in ascending order of the keys.
///
/// Operations that return an integer return 0 for success and 1 for a failure, which is logged.
/// Nothing throws.
class TimelineOutput {
 public:
  /// Opens nothing. The file is `baseName` with the extension ".pwr".
  explicit TimelineOutput(const std::string& baseName);
  /// Without a `close`, the temporary stores are deleted and there is no file.
  ~TimelineOutput() = default;
  TimelineOutput(const TimelineOutput&) = delete;
  TimelineOutput& operator=(const TimelineOutput&) = delete;

  bool isUsable() const { return usable_; }
  /// From now on no record is taken, and `close` leaves no file.
  void setUnusable() { usable_ = false; }

  /// The name that messages show for the stream of this key; to be set before its first record.
  /// False when it has that name already.
  bool setMetricName(std::uint32_t id, const std::string& name);
  /// The metric's name, or "unknown_metric" and the key.
  std::string nameOf(std::uint64_t key) const;

  /// Appends a record to the stream of the key. Fails for a stream marked as unsupported.
  int writeRecord(std::uint64_t key, const std::byte* bytes, std::size_t length) {
    if (!usable_) return 1;
    if (lastStream_ == nullptr || key != lastKey_) {
      lastStream_ = &findOrMake_i(key);
      lastKey_ = key;
    }
    return lastStream_->supported ? append_i(*lastStream_, bytes, length) : 1;
  }

  /// The same for a data record.
  int writeData(std::uint64_t key, const std::byte* bytes, std::size_t length) {
    if (writeRecord(key, bytes, length) != 0) return 1;
    lastStream_->hasData = true;
    return 0;
  }

  /// Passes the data records that the stream of the key has so far to `visit`. Those that cannot be
  /// read back are lost to the file, which is a failure then.
  void visitData(std::uint64_t key, const RecordEdit& visit);
  /// From now on until `close`, `edit` completes the data records of the key for the file.
  void setEdit(std::uint64_t key, RecordEdit edit);

  /// The file will not have the metric; what was written of it is left out.
  void markUnsupported(std::uint32_t metricId);
  /// True also for a metric of which nothing is known yet.
  bool isSupported(std::uint32_t metricId) const;

  /// Puts the file together and deletes the temporary stores. Without any data record for it there
  /// is no file. Returns 1 when the file could not be created, and when it lacks anything that was
  /// given to it: what it has stands in a file with ".incomplete" behind its name then. Call once,
  /// as the last operation.
  int close();

 private:
  // What a stream is called, in front of its key, as long as its metric has no name.
  static constexpr const char* kUnknownMetric = "unknown_metric ";
  static constexpr const char* kUnnamedMetric = "metric ";

  RecordStream& findOrMake_i(std::uint64_t key, const char* prefix = kUnknownMetric);
  std::string nameOf_i(std::uint64_t key, const char* prefix) const;
  int append_i(RecordStream& stream, const std::byte* bytes, std::size_t length);
  bool hasData_i() const;
  bool openFile_i();
  bool copy_i(RecordStream& stream);
  bool copyBytes_i(RecordStream& stream);
  bool copyData_i(RecordStream& stream);
  bool write_i(const RecordStream& stream, std::string_view bytes);
  static bool readData_i(RecordStream& stream, std::string& record);

  const std::string path_;
  pwr::OutputFile file_;  // open only while `close` runs
  bool usable_ = true;
  bool incomplete_ = false;  // a record is missing: the file must not pass for a whole one
  std::map<std::uint64_t, RecordStream> streams_;
  std::map<std::uint64_t, std::string> metricNames_;
  // The stream written to last: records of one metric come in a row.
  std::uint64_t lastKey_ = 0;
  RecordStream* lastStream_ = nullptr;
};
