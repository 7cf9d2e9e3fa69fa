#pragma once

#include "writers/text/TextWriter.h"

/// Writes every summary table of a run as a block of comma-separated lines into one ".csv" file,
/// grouped by metric container. The base name "console" also prints the tables and texts on
/// standard output when the output is closed. The format: docs/formats/summary.md.
class SummaryWriter : public TextWriter {
 public:
  SummaryWriter();
  ~SummaryWriter() override;
};
