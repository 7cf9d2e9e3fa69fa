#pragma once

#include <string_view>

#include "readers/ResultReader.h"
#include "writers/host/SystemMetadata.h"

namespace tavrin {

/// The clock of a result in whole MHz, as the writers have it; 0 for unknown.
unsigned int wholeMHz(const Clock& clock);

/// What a result says of the machine and the collection, as the writers know it. `clockMHz`: ticks
/// per microsecond.
pwr::SystemDescription systemOf(const ResultReader& reader, unsigned int clockMHz);

/// Whether a qualified name is the place of a processor, a core, a module or a package, such as
/// "Package0/Core1/CPU3".
bool isProcessorPath(std::string_view qualifiedName);
/// The level of a part of such a place, "Thread" for "CPU3"; empty for any other name.
std::string_view levelOfName(std::string_view name);

}  // namespace tavrin
