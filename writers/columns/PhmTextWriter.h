#pragma once

#include "writers/columns/IntWriterV2.h"

/// Writes what a data frame wants: a "_phm.csv" table of the whole run, with a row for every sample
/// time and a column for every series (metric, entity, descriptor), "_phm_events.csv" with a line
/// for every event, and "_phm_metadata.csv", which describes both. The format:
/// docs/formats/over-time.md.
class PhmTextWriter : public IntWriterV2 {
 public:
  PhmTextWriter();
  ~PhmTextWriter() override;
};
