#include "writers/timeline/KorvellWriter.h"

#include <set>

#include "writers/host/HostFunctions.h"
#include "writers/timeline/TimelineLog.h"

KorvellWriter::KorvellWriter()
    : RunWriter("f245366a-c403-478b-aae5-649269da17c7",
                new pwr::WriterPluginCapability(
                    std::set<pwr::TableClass>{}, "korvell",
                    "Write data trace file (.pwr) in import format for visualization with Korvell",
                    ".pwr", false),
                kTimelineLog,
                [legacy = pwr::check_env("PW_ENABLE_LEGACY_KORVELL")](const std::string& baseName,
                                                                      bool /*continuous*/) {
                  return std::make_unique<TimelineRun>(baseName, legacy);
                }) {}

KorvellWriter::~KorvellWriter() = default;
