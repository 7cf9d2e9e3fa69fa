#pragma once

#include <string>

#include "writers/host/DataHandle.h"

/// The attribute text of a descriptor or of a state: the value of its first attribute as text, a
/// range as "first - last". Empty when it has no attributes, or when the value is a handle or none.
std::string descriptorText(const pwr::DataHandle& handle);
