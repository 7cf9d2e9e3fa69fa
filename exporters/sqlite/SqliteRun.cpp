#include "exporters/sqlite/SqliteRun.h"

#include <cerrno>

#include "exporters/sqlite/Schema.h"
#include "exporters/sqlite/SystemTables.h"
#include "hostcommon/Platform.h"
#include "writers/common/TimeScale.h"

namespace sqlite {

namespace {

bool cannotCreate(const std::string& path, const std::string& cause) {
  PW_LOG(kLog, PW_LOG_ERROR, "ERROR: Could not create %s: %s.\n", path.c_str(), cause.c_str());
  return false;
}

}  // namespace

std::unique_ptr<SqliteRun> SqliteRun::open(const std::string& path) {
  std::unique_ptr<SqliteRun> run(new SqliteRun);
  return run->create(path) ? std::move(run) : nullptr;
}

bool SqliteRun::create(const std::string& path) {
  if (pwr::platform::kindOf(path) == pwr::platform::FileKind::Other) {
    return cannotCreate(path, "A database has to be a regular file");
  }
  if (!file_.open(path)) return cannotCreate(path, pwr::platform::errorText(errno));
  if (!database_.open() || !database_.run(kTables) || !database_.keep()) {
    return cannotCreate(path, pwr::platform::errorText(file_.getFailure()));
  }
  tables_.emplace(database_);
  return true;
}

int SqliteRun::write(const pwr::SystemMessage& message) {
  system_ = message.getSystemMetadata();
  tables_->setTicksPerMicrosecond(system_->getTscFrequencyMHz());
  return 0;
}

int SqliteRun::write(const pwr::MetricContainerInfoMessage& message) {
  tables_->add(message);
  return 0;
}

int SqliteRun::write(const pwr::Metric& metric) {
  Catalog::Metric& known = catalog_.find(*metric.getDescription());
  const auto time = static_cast<std::int64_t>(metric.getData().timestamp - start());
  for (const pwr::DataElement& element : metric.getData().elements) {
    SeriesState& series = catalog_.find(known, element.getEntity(), element.getDescriptor());
    points_.add(series.number, time, series.sequenceAt(time), element);
  }
  return 0;
}

int SqliteRun::write(const pwr::TableMessage& message) {
  tables_->add(message);
  return 0;
}

int SqliteRun::write(const pwr::TextMessage& message) {
  const bool isHeader = message.getKind() == pwr::TextMessageKind::Header;
  Insertion(database_, "INSERT INTO text VALUES (?,?,?)")
      .add(++textCount_, isHeader ? "header" : "text", message.getMessage());
  return 0;
}

int SqliteRun::close() {
  points_.insert();
  catalog_.write(database_, ticksPerMicrosecond());
  tables_->write();
  tables_.reset();
  const pwr::SystemMetadata unknown;
  const pwr::SystemMetadata& system = system_ == nullptr ? unknown : *system_;
  writeRun(database_, system, start(), ticksPerMicrosecond());
  writeSystem(database_, system);
  writeProcesses(database_, system, start());
  database_.run(kIndexesAndViews);
  database_.close();
  return file_.close();
}

std::uint64_t SqliteRun::start() {
  if (!start_) start_ = system_ == nullptr ? 0 : system_->getCollectionStartTimestamp();
  return *start_;
}

double SqliteRun::ticksPerMicrosecond() const {
  return usableTicksPerMicrosecond(system_ == nullptr ? 0.0F : system_->getTscFrequencyMHz());
}

}  // namespace sqlite
