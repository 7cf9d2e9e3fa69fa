#pragma once

#include <limits>
#include <string>
#include <vector>

#include "tavrin/import/Recognition.h"
#include "tavrin/service/KeepBounds.h"
#include "tavrin/ship/ShipOptions.h"

namespace tavrin {

/// What the command line asks for. The defaults are those of the tool.
struct Options {
  // Of every command:
  int verbosity = 2;
  std::vector<std::string> debugChannels;
  std::vector<std::string> plugins;  ///< beside those that are found

  // Of record and report:
  std::string output = "tavrin";
  std::vector<std::string> writers{"sum"};
  std::string outputConfig;
  unsigned long long pageSize = 0;     ///< bytes; 0: what the writer itself takes
  unsigned long long startTimeNs = 0;  ///< since 1970; 0: that of the recording
  unsigned long long seriesLimit = 0;  ///< 0: what the writer itself takes

  // Of record, watch, serve and list:
  std::string sysroot;
  std::vector<std::string> features{"default"};

  // Of record, watch and serve:
  double durationSec = 0.0;  ///< 0: no limit
  unsigned int samples = 0;  ///< intervals to collect for; 0: no limit

  // Of record:
  double intervalMs = 100.0;
  double continuousSec = 0.0;  ///< 0: no continuous output
  std::string capture;
  std::vector<std::string> command;
  bool force = false;     ///< replace the numbered files of an earlier run
  bool progress = false;  ///< shown also when a command shares the terminal
  std::string config;     ///< file with options
  bool check = false;     ///< ends before anything is recorded
  KeepBounds keep;
  std::string packing;  ///< of finished files: "zstd", or "" for none

  // Of report and of inspect:
  bool continuous = false;
  bool points = false;

  // Of watch and serve:
  double watchIntervalMs = 1000.0;

  // Of serve:
  std::string listen = "127.0.0.1:9464";

  // Of watch:
  std::vector<std::string> show;
  std::vector<std::string> hide;

  // Of report:
  ImportOptions import;

  // Of export and compare:
  std::string format;
  std::vector<std::string> metricPatterns;

  // Of export:
  std::vector<std::string> columns{"time", "metric", "entity", "descriptor", "value", "unit"};
  std::vector<std::string> entityPatterns;
  double fromSec = -std::numeric_limits<double>::infinity();
  double toSec = std::numeric_limits<double>::infinity();

  // Of compare, with `files` before and `command` after:
  unsigned int mostRows = 40;  ///< 0: all
  std::string failAbove;

  // Of ship, and of record:
  ShipOptions ship;

  // Of list:
  std::string topic = "all";

  // Of inspect and compare:
  std::vector<std::string> files;

  // Of completion and manual:
  std::string shell;
  std::string manualPage;  ///< the command that it is about

  std::vector<std::string> arguments;  ///< all as given
  std::string commandLine;             ///< the same, for the reports
};

}  // namespace tavrin
