#pragma once

#include <functional>
#include <string>

#include "writers/host/Logger.h"

/// What becomes of a file that cannot be written completely.
enum class Unfinished {
  Discarded,  ///< nothing stands under any name; a later file will have what it was to have
  Kept,       ///< what could be written stands as NAME.incomplete
};

/// Writes a whole file through the host's output handle of that name. `write` hands its bytes to
/// the handle; false, with errno set, when that fails. False when the file does not stand complete
/// under its name, which an error line tells; a file that had the name before is still there then.
/// Memory that runs out in `write` (std::bad_alloc) is such a failure: nothing is kept of the file.
///
/// A name may have 1023 bytes: cut, it would be that of some other file.
bool writeWholeFile(const std::string& name, Unfinished unfinished,
                    const std::function<bool(pwr::Logger&)>& write);

/// The name of a numbered file of a continuous run.
std::string numberedFileName(const std::string& baseName, int number, const char* ending);
