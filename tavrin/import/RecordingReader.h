#pragma once

#include <string>
#include <string_view>

#include "tavrin/import/RandomBytes.h"
#include "tavrin/import/Recording.h"

namespace tavrin {

/// Whether a file that begins so is a kernel recording.
bool isRecording(std::string_view head);

/// Reads all of a recording but its events and symbols. Of a damaged one, what can be read; what
/// is wrong is in the result, also for what this build cannot read at all.
Recording readRecording(RandomBytes& file);

/// The text of the kernel's symbols ("/proc/kallsyms"); empty where the recording has none or is
/// damaged there, which becomes a fault of it.
std::string readSymbols(RandomBytes& file, Recording& recording);

}  // namespace tavrin
