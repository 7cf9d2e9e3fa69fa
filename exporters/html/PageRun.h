#pragma once

#include <cstddef>
#include <string>

#include "exporters/html/PageTables.h"
#include "exporters/html/SeriesRecorder.h"
#include "exporters/html/SeriesStore.h"
#include "hostcommon/OutputFile.h"
#include "writers/host/SystemMessage.h"

/// One run of the writer of pages: keeps in bounded memory what the page is made of, and makes it
/// when the run ends.
class PageRun {
 public:
  /// `mostBytes`: of the file.
  explicit PageRun(std::size_t mostBytes);

  /// False when the file cannot be created, which has been told.
  bool open(const std::string& baseName);
  int write(const pwr::SystemMessage& message);
  int write(const pwr::MetricContainerInfoMessage& message);
  int write(const pwr::Metric& metric);
  int write(const pwr::TableMessage& message);
  int close();

 private:
  long long durationTicks() const;

  const std::size_t mostBytes_;
  const pwr::SystemMetadata* system_ = nullptr;
  SeriesStore store_;
  SeriesRecorder recorder_{store_};
  PageTables tables_;
  pwr::OutputFile file_;
};
