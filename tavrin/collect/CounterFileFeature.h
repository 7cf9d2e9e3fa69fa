#pragma once

#include <optional>
#include <string_view>

#include "tavrin/collect/CounterTable.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/OpenFile.h"

namespace tavrin {

/// A feature whose things and counters are all in one text of the kernel, a line for each thing.
class CounterFileFeature : public Feature {
 public:
  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 protected:
  struct Source {
    const char* path;
    const char* level;     ///< what the things are
    std::size_t counters;  ///< of each thing
    const char* unused;    ///< why the feature is absent where nothing in the text has counted
  };

  CounterFileFeature(std::string tag, std::string containerName, std::string help,
                     const Source& source);

  /// Notes what a line of the text tells, if it is about one of the things.
  virtual void readLine(std::string_view line, CounterTable& things) = 0;
  virtual std::vector<CounterMetric> describeMetrics() const = 0;

 private:
  void read(std::string_view text);

  const Source source_;
  std::optional<OpenFile> file_;
  Interval interval_;
  CounterTable things_;
};

}  // namespace tavrin
