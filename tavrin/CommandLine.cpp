#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "hostcommon/Version.h"
#include "tavrin/CommandOptions.h"
#include "tavrin/Commands.h"
#include "tavrin/HelpTexts.h"
#include "tavrin/OptionValues.h"
#include "tavrin/Options.h"
#include "tavrin/RecordConfig.h"
#include "tavrin/UsageError.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/PlainText.h"
#include "tavrin/manual/CommandSyntax.h"
#include "tavrin/points/PointTable.h"

namespace tavrin {

namespace {

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
  addService(*record, options);
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
  list->footer(kListFooter);
  return list;
}

CLI::App* addDoctor(CLI::App& app, Options& options) {
  CLI::App* const doctor =
      app.add_subcommand("doctor", "Tell what this user may measure here, and how to get the rest");
  addFormat(*doctor, options, {"text", "json"}, "text (default), or json for scripts");
  addMachineOptions(*doctor, options);
  addCommonOptions(*doctor, options);
  doctor->footer(kDoctorFooter);
  return doctor;
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

CLI::App* addCompletion(CLI::App& app, Options& options) {
  CLI::App* const completion =
      app.add_subcommand("completion", "Print what a shell completes command lines with");
  completion->add_option("shell", options.shell, "The shell that reads it")
      ->type_name("")
      ->option_text("SHELL")
      ->check(CLI::IsMember({"bash", "zsh", "fish"}))
      ->required();
  completion->footer(kCompletionFooter);
  return completion;
}

CLI::App* addManual(CLI::App& app, Options& options) {
  CLI::App* const manual = app.add_subcommand("manual", "Print a manual page, as 'man' reads it");
  manual->add_option("command", options.manualPage, "Command that it is about; default: the tool")
      ->type_name("")
      ->option_text("COMMAND");
  manual->footer(kManualFooter);
  return manual;
}

int print(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  return kExitDone;
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
  options.arguments = arguments;
  options.commandLine = "tavrin " + shellLine(arguments);
  options.command = takeCommand(arguments);
  CLI::App app(kDescription, "tavrin");
  app.set_version_flag("--version", std::string("tavrin ") + pwr::kVersion);
  app.allow_windows_style_options(false);  // "/" begins a path
  app.require_subcommand(1);
  app.get_formatter()->column_width(34);
  const std::pair<CLI::App*, std::function<int(const Options&)>> commands[] = {
      {addRecord(app, options), runRecord},
      {addWatch(app, options), runWatch},
      {addServe(app, options), runServe},
      {addReport(app, options), runReport},
      {addExport(app, options), runExport},
      {addCompare(app, options), runCompare},
      {addList(app, options), runList},
      {addDoctor(app, options), runDoctor},
      {addInspect(app, options), runInspect},
      {addShip(app, options), runShip},
      {addCompletion(app, options),
       [&app](const Options& asked) { return print(completion(syntaxOf(app), asked.shell)); }},
      {addManual(app, options),
       [&app](const Options& asked) { return print(manualPage(syntaxOf(app), asked.manualPage)); }},
  };
  try {
    parseArguments(app, options, arguments);
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
