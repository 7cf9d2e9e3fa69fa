#pragma once

#include <string>

#include "tavrin/doctor/Diagnosis.h"

namespace tavrin {

/// The diagnosis for people, at most 80 columns wide but for commands and paths: what is not
/// permitted, by the right that is missing; what works; what the machine lacks; the checks; a line
/// of sums. `isColoured` makes headings bold and marks what is not good.
std::string doctorText(const Diagnosis& diagnosis, bool isColoured);

/// The same as an object, for scripts.
std::string doctorJson(const Diagnosis& diagnosis);

}  // namespace tavrin
