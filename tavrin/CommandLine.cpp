#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "hostcommon/Version.h"
#include "tavrin/Commands.h"
#include "tavrin/HelpTexts.h"
#include "tavrin/Options.h"
#include "tavrin/UsageError.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/PlainText.h"
#include "tavrin/common/WallTime.h"
#include "tavrin/points/PointTable.h"

namespace tavrin {

namespace {

/// Turns a number of bytes, which may end in K, M or G for thousands, millions or billions, into
/// that number. It has to be from `least` to `most`.
CLI::Validator sizeIn(std::uint64_t least, std::uint64_t most) {
  const auto convert = [=](std::string& text) -> std::string {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const std::string_view suffix(rest, end);
    const std::uint64_t unit = suffix == "G"   ? 1'000'000'000
                               : suffix == "M" ? 1'000'000
                               : suffix == "K" ? 1'000
                                               : 1;
    if (error != std::errc() || (unit == 1 && !suffix.empty())) {
      return "'" + text + "' is not a size such as 3M, 500K or a number of bytes";
    }
    if (number < least / unit || number > most / unit) {
      return "'" + text + "' is not from " + std::to_string(least) + " to " + std::to_string(most) +
             " bytes";
    }
    text = std::to_string(number * unit);
    return {};
  };
  return {convert, ""};
}

/// Turns a time of day into its nanoseconds since 1970.
CLI::Validator wallTime() {
  const auto convert = [](std::string& text) -> std::string {
    const std::optional<std::uint64_t> nanoseconds = parseWallTime(text);
    if (!nanoseconds) {
      return "'" + text +
             "' is not a time such as 2026-11-22T19:00:00Z, 2026-11-22T20:00:00.5+01:00 "
             "or a number of seconds since 1970";
    }
    text = std::to_string(*nanoseconds);
    return {};
  };
  return {convert, ""};
}

void addCommonOptions(CLI::App& app, Options& options) {
  app.add_option("--plugin", options.plugins,
                 "Plugin library to load beside the tool's own, or in the place of the one with "
                 "the same file name; may be repeated")
      ->type_name("PATH")
      ->allow_extra_args(false);
  app.add_option("--verbosity", options.verbosity,
                 "Log lines to show: 0 notes only, 1 errors, 2 warnings, 3 debug, 4 info")
      ->type_name("N")
      ->check(CLI::Range(0, 4))
      ->capture_default_str();
  app.add_flag_callback(
      "-v", [&options] { options.verbosity = std::min(options.verbosity + 1, 4); },
      "Raise the verbosity by one; may be repeated");
  app.add_flag_callback(
      "-q,--quiet", [&options] { options.verbosity = 0; }, "Show notes only (verbosity 0)");
  app.add_option("--debug", options.debugChannels,
                 "Show all log lines of a channel: text-writer-plugin, continuous_writer, "
                 "binarywriter, iter; may be repeated")
      ->type_name("CHANNEL")
      ->allow_extra_args(false);
}

void addOutputOptions(CLI::App& app, Options& options) {
  app.add_option(
         "-o,--output", options.output,
         "Base name of the outputs; each writer adds its own ending, and a missing folder is "
         "made. 'console' also prints the summary report")
      ->type_name("BASE")
      ->capture_default_str();
  app.add_option("-w,--writer", options.writers,
                 "Writers to use, separated by commas; 'all' are those of the tool's own formats, "
                 "'every' is all that are loaded; see 'tavrin list writers'")
      ->type_name("NAME,...")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->capture_default_str();
  app.add_option("--output-config", options.outputConfig,
                 "Order of features and metrics in the report (TOML); default: the installed one")
      ->type_name("FILE");
  app.add_option("--page-size", options.pageSize,
                 "Most bytes of data in the page of the writer 'html': 3M (default), 500K, ...")
      ->type_name("SIZE")
      ->transform(sizeIn(10'000, 1'000'000'000));
  app.add_option(
         "--start-time", options.startTimeNs,
         "For the writer 'lines': when the collection began, 2026-11-22T19:00:00Z or seconds "
         "since 1970; default: what the recording tells")
      ->type_name("TIME")
      ->transform(wallTime());
  app.add_option(
         "--series-limit", options.seriesLimit,
         "For the writer 'lines': most series of a run, 10000 by default; further processes "
         "and states become 'others'")
      ->type_name("N")
      ->check(CLI::Range(1ULL, 1'000'000'000ULL));
}

void addMachineOptions(CLI::App& app, Options& options) {
  app.add_option("--sysroot", options.sysroot,
                 "Read /sys, /proc and /etc below this folder instead of the machine's own")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
}

CLI::Option* addInput(CLI::App& app, Options& options) {
  app.add_option("--clock", options.import.clockMHz,
                 "Ticks per microsecond of a file that does not tell them")
      ->type_name("MHz")
      ->check(CLI::Range(1U, 1'000'000U));
  return app
      .add_option("file", options.import.files,
                  "Recorded stream, kernel recording, .ztbin, .ztjson or .pwr file, - for standard "
                  "input; several are the numbered files of a continuous run")
      ->type_name("")
      ->option_text("FILE...|-")
      ->required();
}

/// The seconds that a unit of time has; 0 for an unknown one.
double secondsOfUnit(std::string_view unit) {
  constexpr std::pair<std::string_view, double> kUnits[] = {
      {"us", 1e-6}, {"ms", 1e-3}, {"s", 1.0}, {"m", 60.0}, {"min", 60.0}, {"h", 3600.0}};
  for (const auto& [name, seconds] : kUnits) {
    if (name == unit) return seconds;
  }
  return 0.0;
}

/// Turns a time with a unit, or a number alone in units of `unit`, into that number. It has to be
/// from `least` to `most` of them.
CLI::Validator timeIn(const std::string& unit, double least, double most) {
  const auto convert = [=](std::string& text) -> std::string {
    double number = 0.0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const double given = rest == end ? secondsOfUnit(unit) : secondsOfUnit({rest, end});
    if (error != std::errc() || given == 0.0) {
      return "'" + text + "' is not a time such as 500ms, 10s, 2m or a number of " + unit;
    }
    // To the nanosecond: 0.1 s are 100 ms, not a little more.
    const double value = std::round(number * given * 1e9) / 1e9 / secondsOfUnit(unit);
    if (!(value >= least && value <= most)) {
      return "'" + text + "' is not from " + plainNumber(least) + " to " + plainNumber(most) + " " +
             unit;
    }
    text = plainNumber(value);
    return {};
  };
  return {convert, ""};
}

CLI::Option* addNames(CLI::App& app, const std::string& flags, std::vector<std::string>& names,
                      const std::string& help) {
  return app.add_option(flags, names, help)
      ->type_name("NAME,...")
      ->delimiter(',')
      ->allow_extra_args(false);
}

CLI::Option* addPatterns(CLI::App& app, const std::string& flag, std::vector<std::string>& patterns,
                         const std::string& help) {
  return app.add_option(flag, patterns, help + "; may be repeated")
      ->type_name("PATTERN")
      ->allow_extra_args(false);
}

/// What is collected live, and when.
void addCollectionOptions(CLI::App& app, Options& options, double& intervalMs,
                          const std::string& countFlags) {
  addNames(
      app, "-f,--feature", options.features,
      "Features to collect, separated by commas; 'default' are those that this machine has but "
      "for kernel tracing, 'all' are those too; see 'tavrin list features'")
      ->capture_default_str();
  app.add_option("-i,--interval", intervalMs,
                 "Sampling interval, in milliseconds or with a unit: 20, 20ms, 1s")
      ->type_name("TIME")
      ->transform(timeIn("ms", 1, 3'600'000))
      ->capture_default_str();
  auto* const duration =
      app.add_option("-d,--duration", options.durationSec,
                     "Collect for this time, in seconds or with a unit: 10, 500ms, 2m")
          ->type_name("TIME")
          ->transform(timeIn("s", 0.001, 1e9));
  app.add_option(countFlags, options.samples, "Collect for this many intervals")
      ->type_name("N")
      ->check(CLI::Range(1U, 1'000'000'000U))
      ->excludes(duration);
}

CLI::Option* addTime(CLI::App& app, const std::string& flag, double& seconds,
                     const std::string& help) {
  return app.add_option(flag, seconds, help)->type_name("TIME")->transform(timeIn("s", 0.0, 1e9));
}

/// Where files of lines are sent to, and how. The names of the options begin with `start`.
void addShipping(CLI::App& app, Options& options, const std::string& urlFlag,
                 const std::string& start, const std::string& urlHelp) {
  ShipOptions& ship = options.ship;
  app.add_option(urlFlag, ship.to, urlHelp)->type_name("URL")->allow_extra_args(false);
  app.add_option(start + "config", ship.config,
                 "Configuration with credentials (TOML); default: ~/.config/tavrin/ship.toml, "
                 "/etc/tavrin/ship.toml")
      ->type_name("FILE");
  addTime(app, start + "hold", ship.holdSec,
          "Keep a file for this time after it was acknowledged: engines answer before they have "
          "it on disk")
      ->capture_default_str();
  app.add_option(start + "max-folder", ship.mostBytes,
                 "Most bytes of files to keep; the oldest go first. Default: 1G where files keep "
                 "coming, else no bound")
      ->type_name("SIZE")
      ->transform(sizeIn(1, 1'000'000'000'000'000));
  app.add_option(start + "retry-max", ship.retryMostSec, "Longest wait between two attempts")
      ->type_name("TIME")
      ->transform(timeIn("s", 0.01, 86'400))
      ->capture_default_str();
  app.add_option(start + "timeout", ship.timeoutSec, "Give up a request that gets on no more")
      ->type_name("TIME")
      ->transform(timeIn("s", 0.1, 86'400))
      ->capture_default_str();
}

/// Sends what the recording writes: that are files of lines, numbered ones.
void addRecordShipping(CLI::App& record, Options& options) {
  addShipping(record, options, "--ship", "--ship-",
              "Post the lines there while the recording goes on; adds '-w lines', and the start "
              "time to the names of the outputs; may be repeated");
  record
      .add_option("--ship-wait", options.ship.waitSec,
                  "Wait for acknowledgements at the end, at most for this time")
      ->type_name("TIME")
      ->transform(timeIn("s", 0.0, 1e6))
      ->capture_default_str();
  for (const char* option : {"--ship", "--ship-config"}) {
    record.get_option(option)->needs("--continuous");
  }
  record.parse_complete_callback([&record, &options] {
    if (options.ship.to.empty() && options.ship.config.empty()) return;
    if (record.count("--writer") == 0) options.writers.clear();
    const auto hasLines = [](const std::string& name) {
      return name == "lines" || name == "every";
    };
    if (std::ranges::none_of(options.writers, hasLines)) options.writers.emplace_back("lines");
  });
}

CLI::App* addRecord(CLI::App& app, Options& options) {
  CLI::App* const record =
      app.add_subcommand("record", "Collect live telemetry while a command runs, or until Ctrl-C");
  addOutputOptions(*record, options);
  addCollectionOptions(*record, options, options.intervalMs, "-n,--samples");
  record
      ->add_option("--continuous", options.continuousSec,
                   "Flush continuous results this often, in seconds or with a unit (writers that "
                   "support it)")
      ->type_name("TIME")
      ->transform(timeIn("s", 0.01, 1e9));
  record
      ->add_flag("--force", options.force,
                 "With --continuous: remove the numbered files of an earlier run first")
      ->needs("--continuous");
  record
      ->add_option(
          "--capture", options.capture,
          "Also keep the recorded stream in this file, - for standard output; it is packed if "
          "the name ends in .gz or .zst")
      ->type_name("FILE");
  record->add_flag("--progress", options.progress,
                   "Show how the run goes also while a command shares the terminal");
  addRecordShipping(*record, options);
  addMachineOptions(*record, options);
  addCommonOptions(*record, options);
  record->footer(kRecordFooter);
  return record;
}

CLI::App* addWatch(CLI::App& app, Options& options) {
  CLI::App* const watch =
      app.add_subcommand("watch", "Show live telemetry as a table, interval by interval");
  addCollectionOptions(*watch, options, options.watchIntervalMs, "-n,--count");
  addNames(*watch, "--show", options.show,
           "Show only these: names of columns, metrics, features or kinds of rows");
  addNames(*watch, "--hide", options.hide, "Leave these out");
  addMachineOptions(*watch, options);
  addCommonOptions(*watch, options);
  watch->footer(kWatchFooter);
  return watch;
}

CLI::App* addServe(CLI::App& app, Options& options) {
  CLI::App* const serve =
      app.add_subcommand("serve", "Offer live telemetry over HTTP for Prometheus to scrape");
  serve
      ->add_option("--listen", options.listen,
                   "Address and port to answer on; without another one only this machine reaches "
                   "it, port 0 is any that is free")
      ->type_name("ADDRESS:PORT")
      ->capture_default_str();
  addCollectionOptions(*serve, options, options.watchIntervalMs, "-n,--count");
  addMachineOptions(*serve, options);
  addCommonOptions(*serve, options);
  serve->footer(kServeFooter);
  return serve;
}

CLI::App* addReport(CLI::App& app, Options& options) {
  CLI::App* const report = app.add_subcommand("report", "Replay a recorded run into writers");
  addOutputOptions(*report, options);
  report->add_flag("--continuous", options.continuous,
                   "Open the outputs for continuous results and flush them where the stream says");
  report
      ->add_option("--events", options.import.events,
                   "Kernel events that become metrics of their own, beside those that are known: a "
                   "name or SYSTEM:NAME with * and ?; may be repeated")
      ->type_name("PATTERN")
      ->allow_extra_args(false);
  addCommonOptions(*report, options);
  addInput(*report, options);
  report->footer(kReportFooter);
  return report;
}

CLI::App* addShip(CLI::App& app, Options& options) {
  CLI::App* const ship =
      app.add_subcommand("ship", "Send files of the writer 'lines' to time series engines");
  addShipping(*ship, options, "--to", "--",
              "Where to post the lines; may be repeated. Default: the places of the configuration");
  ship->add_flag("--follow", options.ship.follow, "Go on when the folder is empty");
  addCommonOptions(*ship, options);
  ship->add_option("folder", options.ship.folder, "Folder with the files to send")
      ->type_name("")
      ->option_text("FOLDER")
      ->required();
  ship->footer(kShipFooter);
  return ship;
}

void addFormat(CLI::App& app, Options& options, const std::vector<std::string>& names,
               const std::string& help) {
  app.add_option("--format", options.format, help)->type_name("NAME")->check(CLI::IsMember(names));
}

CLI::App* addExport(CLI::App& app, Options& options) {
  CLI::App* const command =
      app.add_subcommand("export", "Print the points of a recording as a long table");
  addNames(*command, "-c,--columns", options.columns, "Columns to print, in this order")
      ->check(CLI::IsMember(pointColumnNames()))
      ->capture_default_str();
  addFormat(*command, options, {"csv", "jsonl"}, "csv (default), or jsonl: an object per line");
  addPatterns(*command, "--metric", options.metricPatterns,
              "Print only metrics of this name, or of the feature with this name");
  addPatterns(*command, "--entity", options.entityPatterns,
              "Print only what was measured on this entity");
  addTime(*command, "--from", options.fromSec, "Print what is not before this time of the run");
  addTime(*command, "--to", options.toSec, "Print what is before this time of the run");
  addCommonOptions(*command, options);
  addInput(*command, options);
  command->footer(kExportFooter);
  return command;
}

CLI::App* addCompare(CLI::App& app, Options& options) {
  CLI::App* const compare =
      app.add_subcommand("compare", "Tell what changed between runs, for people and for CI");
  addPatterns(*compare, "--metric", options.metricPatterns, "Compare only metrics of this name");
  compare
      ->add_option("--fail-above", options.failAbove,
                   "Exit with 3 if a figure changed by more than this: +5% (more), -5% (less), 5% "
                   "(either)")
      ->type_name("CHANGE");
  compare->add_option("--top", options.mostRows, "Figures to show as text, 0 for all")
      ->type_name("N")
      ->capture_default_str();
  addFormat(*compare, options, {"text", "csv", "json"}, "text (default), csv or json");
  addCommonOptions(*compare, options);
  compare->add_option("file", options.files, "Recordings of the runs")
      ->type_name("")
      ->option_text("A... -- B...")
      ->required();
  compare->footer(kCompareFooter);
  return compare;
}

CLI::App* addList(CLI::App& app, Options& options) {
  CLI::App* const list = app.add_subcommand("list", "Tell what this build and this machine offer");
  list->add_option("topic", options.topic, "writers, features, metrics; all by default")
      ->type_name("")
      ->check(CLI::IsMember({"all", "writers", "features", "metrics"}));
  addMachineOptions(*list, options);
  addCommonOptions(*list, options);
  return list;
}

CLI::App* addInspect(CLI::App& app, Options& options) {
  CLI::App* const inspect = app.add_subcommand(
      "inspect", "Verify .ztbin, .ztjson and .pwr files and tell what is in them");
  inspect->add_flag("--points,--records", options.points,
                    "Print every data point, of a .pwr file every record, instead of a summary");
  inspect->add_option("file", options.files, "Outputs of the writers bin, json and korvell")
      ->type_name("")
      ->option_text("FILE...")
      ->required();
  inspect->footer(kInspectFooter);
  return inspect;
}

/// Takes the command to measure, which follows "--", from the arguments, and leaves the rest.
std::vector<std::string> takeCommand(std::vector<std::string>& arguments) {
  const auto marker = std::ranges::find(arguments, "--");
  if (marker == arguments.end()) return {};
  std::vector<std::string> command(marker + 1, arguments.end());
  arguments.erase(marker, arguments.end());
  return command;
}

/// Prints the help that was asked for, or what is wrong with the arguments.
int reportParsing(const CLI::App& app, const std::vector<std::string>& arguments,
                  const CLI::ParseError& error) {
  if (error.get_exit_code() != 0) {
    fail(usageError(app, arguments, error));
    return kExitUsage;
  }
  std::ostringstream help;
  app.exit(error, help, help);
  std::fputs(help.str().c_str(), stdout);
  return kExitDone;
}

/// Buffered output may be lost only now.
int finishStandardOutput(int status) {
  const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  if (isWritten || status != kExitDone) return status;
  fail("cannot write to standard output");
  return kExitIncomplete;
}

}  // namespace

int runCommandLine(std::vector<std::string> arguments) {
  Options options;
  options.commandLine = "tavrin " + shellLine(arguments);
  options.command = takeCommand(arguments);
  CLI::App app(kDescription, "tavrin");
  app.set_version_flag("--version", std::string("tavrin ") + pwr::kVersion);
  app.allow_windows_style_options(false);  // "/" begins a path
  app.require_subcommand(1);
  app.get_formatter()->column_width(34);
  const std::pair<CLI::App*, std::function<int(const Options&)>> commands[] = {
      {addRecord(app, options), runRecord}, {addWatch(app, options), runWatch},
      {addServe(app, options), runServe},   {addReport(app, options), runReport},
      {addExport(app, options), runExport}, {addCompare(app, options), runCompare},
      {addList(app, options), runList},     {addInspect(app, options), runInspect},
      {addShip(app, options), runShip},
  };
  try {
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    app.parse(reversed);  // takes them from the end
    const bool takesMore = app.got_subcommand("record") || app.got_subcommand("compare");
    if (!options.command.empty() && !takesMore) {
      throw CommandError(kExitUsage, "only 'tavrin record' takes a command after '--'");
    }
  } catch (const CLI::ParseError& error) {
    return finishStandardOutput(reportParsing(app, arguments, error));
  }
  for (const auto& [command, run] : commands) {
    if (command->parsed()) return finishStandardOutput(run(options));
  }
  return kExitUsage;
}

}  // namespace tavrin
