#include "tavrin/CommandOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

#include "tavrin/OptionValues.h"

namespace tavrin {

namespace {

/// Of two bounds of a kind the smaller one counts.
void addBound(const std::string& bound, KeepBounds& bounds) {
  const auto addTo = [](auto& known, auto given) {
    if (known == 0 || given < known) known = given;
  };
  double number = 0.0;
  std::from_chars(bound.data(), bound.data() + bound.size(), number);
  if (bound.ends_with('s')) {
    addTo(bounds.ageSec, number);
  } else {
    addTo(bounds.bytes, static_cast<std::uint64_t>(number));
  }
}

}  // namespace

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
         "Base name of the outputs; each writer adds its own ending and replaces what had that "
         "name, and a missing folder is made. 'console' also prints the summary report")
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

void addFormat(CLI::App& app, Options& options, const std::vector<std::string>& names,
               const std::string& help) {
  app.add_option("--format", options.format, help)->type_name("NAME")->check(CLI::IsMember(names));
}

void addService(CLI::App& record, Options& options) {
  record
      .add_option("--config", options.config,
                  "Options of 'record' from this file (TOML), by their long names; those of the "
                  "command line win. With --continuous, SIGHUP reads it again. A feature "
                  "that the machine lacks is left out")
      ->type_name("FILE");
  record.add_flag("--check", options.check,
                  "Only tell whether a recording with these options could begin");
  record
      .add_option_function<std::vector<std::string>>(
          "--keep",
          [&options](const std::vector<std::string>& bounds) {
            for (const std::string& bound : bounds) addBound(bound, options.keep);
          },
          "Remove the oldest files of this base name, also those of earlier runs, when they are "
          "older (7d, 48h) or all together larger (2G, 500M); may be given for both")
      ->type_name("AGE|SIZE")
      ->transform(keepBound())
      ->allow_extra_args(false)
      ->needs("--continuous");
  record.add_option("--compress", options.packing, "Compress finished numbered files: zstd")
      ->type_name("NAME")
      ->check(CLI::IsMember({"zstd"}))
      ->needs("--continuous");
}

}  // namespace tavrin
