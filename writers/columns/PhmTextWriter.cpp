#include "writers/columns/PhmTextWriter.h"

#include "writers/columns/OverTimeRun.h"
#include "writers/host/Quantity.h"

PhmTextWriter::PhmTextWriter()
    : IntWriterV2(
          "9d2aa443-e197-4628-9ed7-f7772a50828e",
          new pwr::WriterPluginCapability(
              {}, "phm-csv", "Write over-time data to *_phm.csv file.", ".csv", false,
              {"BASE_phm.csv", "BASE_phm_events.csv", "BASE_phm_metadata.csv"}),
          "_phm.csv",
          [showsTicks = pwr::showsTicks()](const std::string& baseName, bool /*continuous*/) {
            return OverTimeRun::open(baseName, showsTicks);
          }) {}

PhmTextWriter::~PhmTextWriter() = default;
