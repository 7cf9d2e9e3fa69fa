#pragma once

#include "packing/Packing.h"

namespace tavrin {

/// Null where the build has no zlib.
std::unique_ptr<Packer> createGzipPacker();
std::unique_ptr<Unpacker> createGzipUnpacker();

}  // namespace tavrin
