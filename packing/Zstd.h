#pragma once

#include "packing/Packing.h"

namespace tavrin {

/// Null where the build has no libzstd.
std::unique_ptr<Packer> createZstdPacker();
std::unique_ptr<Unpacker> createZstdUnpacker();

}  // namespace tavrin
