#include <memory>

#include "tavrin/Commands.h"
#include "tavrin/HostSetup.h"
#include "tavrin/PluginLibrary.h"
#include "tavrin/Session.h"
#include "tavrin/WrittenFiles.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/platform/Interrupt.h"
#include "tavrin/stream/StreamReader.h"

namespace tavrin {

namespace {

/// How a replay ended, told to the user: the exit status that the input and the signals ask for.
int replayStatus(const InputFile& input, const StopRequest& stop, const StreamReader& reader,
                 const std::string& error) {
  if (!error.empty()) {
    fail(error);
    return kExitIncomplete;
  }
  if (!reader.cutRecord().empty()) warn(reader.cutRecord());
  if (!input.isStopped()) return kExitDone;
  if (!input.isLive()) fail(input.name() + ": stopped by a signal before its end");
  return kExitSignalOffset + stop.signal();
}

}  // namespace

int runReport(const Options& options) {
  setUpHost(options);
  const PluginLibrary plugin(options.plugin);
  const std::vector<WriterPlugin*> writers = plugin.select(options.writers);
  const OutputNames names = nameOutputs(options, plugin, writers, options.continuous);
  names.refuse(options.stream == "-" ? "/dev/stdin" : options.stream, "the input");
  StopRequest stop;
  const Interrupt interrupt(stop);
  InputFile input(options.stream, &stop);
  const WrittenFiles written;
  // The reader owns the system description, which the writers use until they are closed.
  std::unique_ptr<StreamReader> reader;
  Session session(writers);
  session.beforeSystem([&] {
    names.makeFolder();
    session.open(names.baseName(), options.continuous);
  });
  reader = std::make_unique<StreamReader>(input, session);
  std::string error;
  reader->replay(error);
  const int replayed = replayStatus(input, stop, *reader, error);
  const bool isWhole = error.empty() && (!input.isStopped() || input.isLive());
  const std::vector<std::string> incomplete = session.finish(isWhole);
  const int completed = isWhole ? reportIncomplete(incomplete) : kExitDone;
  written.tell();
  return replayed != kExitDone ? replayed : completed;
}

}  // namespace tavrin
