#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tavrin/Commands.h"
#include "tavrin/HostSetup.h"
#include "tavrin/PluginLibrary.h"
#include "tavrin/Session.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/platform/Interrupt.h"
#include "tavrin/stream/StreamReader.h"
#include "writers/host/HostFunctions.h"

namespace tavrin {

namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File openStream(const std::string& path) {
  if (path == "-") return File(stdin, [](FILE*) { return 0; });
  FILE* stream = nullptr;
  if (!pwr::openFileHandle(&stream, path.c_str(), "rb")) {
    throw CommandError(kExitIncomplete, "cannot read " + path + ": " + std::strerror(errno));
  }
  return File(stream, std::fclose);
}

}  // namespace

int runReport(const Options& options) {
  const auto started = std::chrono::system_clock::now();
  setUpHost(options);
  const File stream = openStream(options.stream);
  const PluginLibrary plugin(options.plugin);
  StopRequest stop;
  const Interrupt interrupt(stop);
  // The reader owns the system description, which the writers use until they are closed.
  std::unique_ptr<StreamReader> reader;
  Session session(plugin.select(options.writers), nullptr);
  session.open(options.output, options.continuous);
  reader = std::make_unique<StreamReader>(stream.get(),
                                          options.stream == "-" ? "standard input" : options.stream,
                                          session, &stop.flag());
  std::string error;
  const bool sound = reader->replay(error) == 0;
  const int status = reportIncomplete(session.finish());
  if (!sound) fail(error);
  listOutputs(options.output, started);
  return sound ? status : kExitIncomplete;
}

}  // namespace tavrin
