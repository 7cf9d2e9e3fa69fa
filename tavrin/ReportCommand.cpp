#include <memory>

#include "hostcommon/session/PluginLibraries.h"
#include "hostcommon/session/Session.h"
#include "tavrin/Commands.h"
#include "tavrin/HostSetup.h"
#include "tavrin/WrittenFiles.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/import/Recognition.h"
#include "tavrin/platform/Interrupt.h"

namespace tavrin {

int runReport(const Options& options) {
  setUpHost(options);
  const pwr::PluginLibraries plugins(options.plugins);
  const std::vector<WriterPlugin*> writers = plugins.select(options.writers);
  const OutputNames names = nameOutputs(options, plugins, writers, options.continuous);
  const ImportOptions inputs = inRunOrder(options.import);
  for (const std::string& file : inputs.files) {
    names.refuse(file == "-" ? "/dev/stdin" : file, "the input");
  }
  StopRequest stop;
  const Interrupt interrupt(stop);
  const std::unique_ptr<PeekedSource> input = openInput(inputs.files.front(), &stop);
  const WrittenFiles written;
  // Owns the system description, which the writers use until they are closed.
  std::unique_ptr<Import> import;
  pwr::Session session(writers, writerOptions(options));
  session.beforeSystem([&] {
    names.makeFolder();
    session.open(names.baseName(), options.continuous);
  });
  import = openImport(*input, session, inputs);
  std::string error;
  import->replay(error);
  const int replayed = replayStatus(*input, stop, *import, error);
  const bool isWhole = error.empty() && (!input->isStopped() || input->isLive());
  const std::vector<std::string> incomplete = session.finish(isWhole);
  const int completed = isWhole ? reportIncomplete(incomplete) : kExitDone;
  written.tell();
  return replayed != kExitDone ? replayed : completed;
}

}  // namespace tavrin
