#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "exporters/html/MetricSeries.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/SystemMetadata.h"

/// The name of a process, or that of its program where it has none.
std::string processName(const pwr::Process& process);

/// The things that series are about, numbered; a parent comes before what is part of it.
class PageEntities {
 public:
  struct Entity {
    std::string name;
    std::string path;
    int parent = -1;
    const char* level = "other";
  };

  /// `system`, which may be null, tells the names of processes that are known by their numbers
  /// only.
  explicit PageEntities(const pwr::SystemMetadata* system);

  /// -1 for null.
  int numberOf(const pwr::EntityHandle* entity);
  int numberOf(const SeriesOwner& owner);
  /// That of the series' process, or of its entity.
  int numberOf(const PageSeries& series);

  const std::vector<Entity>& entities() const { return entities_; }
  /// The processes among them, by their numbers and names.
  const std::map<std::pair<long long, std::string>, int>& owners() const { return owners_; }

 private:
  std::vector<Entity> entities_;
  std::map<const pwr::EntityHandle*, int> numbers_;
  std::map<long long, std::string> processNames_;
  std::map<std::pair<long long, std::string>, int> owners_;
};
