#pragma once

#include <string>

#include "packing/Packing.h"

namespace tavrin {

/// Packs a file that is complete: it gets the ending `packedEnding(packing)`, and the original
/// goes. Until the packed file is on the disk it has a private name; whatever ends the process, one
/// of the two is there, or both with the same content. It has the time of the last change of the
/// original. False, with `error` set to the cause, where the original stays.
bool packFile(const std::string& path, Packing packing, std::string& error);

}  // namespace tavrin
