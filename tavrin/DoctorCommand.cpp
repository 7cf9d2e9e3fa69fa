#include <cstdio>

#include "tavrin/Commands.h"
#include "tavrin/common/CommandError.h"

#if defined(__linux__)

#include "hostcommon/session/HostError.h"
#include "hostcommon/session/PluginLibraries.h"
#include "packing/Packing.h"
#include "tavrin/HostSetup.h"
#include "tavrin/common/Terminal.h"
#include "tavrin/doctor/DoctorReport.h"

namespace tavrin {

namespace {

Check checkWriters(const Options& options) {
  try {
    const pwr::PluginLibraries plugins(options.plugins);
    return {"writers", true,
            std::to_string(plugins.writers().size()) + ", in " +
                std::to_string(plugins.libraries().size()) + " plugin libraries"};
  } catch (const pwr::HostError& error) {
    return {"writers", false, error.what()};
  }
}

/// Does what every command does first, and tells how that went.
Check checkConfiguration(const Options& options) {
  try {
    setUpHost(options);
  } catch (const CommandError& error) {
    return {"configuration", false, error.what()};
  }
  const std::string file = installedConfig();
  if (!file.empty()) return {"configuration", true, file};
  return {"configuration", false, "not found: the report has features in no particular order"};
}

Check checkPacking() {
  std::string lacks;
  for (const Packing packing : {Packing::Gzip, Packing::Zstd}) {
    const std::string why = whyNotPacked(packing);
    if (!why.empty()) lacks.append(lacks.empty() ? "" : "; ").append(why);
  }
  return {"packed files", lacks.empty(), lacks.empty() ? "gzip (zlib), zstd" : lacks};
}

Check checkShipping() {
#if defined(PW_SHIP)
  return {"tavrin ship", true, "in this build (libcurl)"};
#else
  return {"tavrin ship", false, "not in this build: it needs libcurl and zlib"};
#endif
}

Check checkServing() {
#if defined(PW_SERVE)
  return {"tavrin serve", true, "in this build (prometheus-cpp)"};
#else
  return {"tavrin serve", false, "not in this build: it needs prometheus-cpp"};
#endif
}

}  // namespace

int runDoctor(const Options& options) {
  const Check configuration = checkConfiguration(options);
  const SysRoot root(options.sysroot);
  Diagnosis diagnosis{.user = userName(), .features = examineFeatures(root)};
  diagnosis.checks = checkMachine(root);
  for (const Check& check :
       {checkWriters(options), configuration, checkPacking(), checkShipping(), checkServing()}) {
    diagnosis.checks.push_back(check);
  }
  if (const std::string page = installedPage("permissions.md"); !page.empty())
    diagnosis.guide = page;
  const bool isColoured = isCapableTerminal(stdout) && allowsColours();
  const std::string text =
      options.format == "json" ? doctorJson(diagnosis) : doctorText(diagnosis, isColoured);
  std::fputs(text.c_str(), stdout);
  return kExitDone;
}

}  // namespace tavrin

#else

namespace tavrin {

int runDoctor(const Options& options) {
  std::puts(options.format == "json"
                ? R"({"features": [], "rights": [], "checks": []})"
                : "Live collection is available on Linux only; 'tavrin report' works here.");
  return kExitDone;
}

}  // namespace tavrin

#endif
