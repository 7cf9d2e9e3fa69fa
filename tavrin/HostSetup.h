#pragma once

#include <string>
#include <vector>

#include "tavrin/Options.h"
#include "tavrin/OutputNames.h"
#include "tavrin/common/Import.h"
#include "tavrin/platform/ByteSource.h"
#include "tavrin/platform/StopRequest.h"

namespace tavrin {

/// The output configuration that was installed with the tool; "" when there is none.
std::string installedConfig();
/// The page of docs/ that an installation has; "" where there is none.
std::string installedPage(const std::string& name);

/// Sets verbosity and debug switches, raises the limit of open files and loads the output
/// configuration: the file that the user named, else the one that was installed with the tool.
/// Throws CommandError when that file is faulty.
void setUpHost(const Options& options);

/// The names of the files that the writers will write. Tells the user of options that have no
/// effect on them; `suffix` is added to the base name. Throws CommandError when two are the same
/// file, or one is the configuration's.
OutputNames nameOutputs(const Options& options, const pwr::PluginLibraries& plugins,
                        const std::vector<WriterPlugin*>& writers, bool continuous,
                        const std::string& suffix = {});

/// What the writers are offered of the options: those that one of them knows.
std::vector<std::string> writerOptions(const Options& options);

/// How an import ended, told to the user: the exit status that the input and the signals ask for.
/// `error` is that of its replay.
int replayStatus(const ByteSource& input, const StopRequest& stop, const Import& replayed,
                 const std::string& error);

/// The exit status of a run with these incomplete outputs, after telling the user of them.
int reportIncomplete(const std::vector<std::string>& incomplete);

}  // namespace tavrin
