#pragma once

#include <string>
#include <string_view>

namespace tavrin {

/// Runs that follow each other under one base name, as those of a service do, have their start in
/// the names of their files: STEM-20261122-190811-042_17.ztbin. One that is started again finds no
/// file in its way, and names sort by time.

/// What the base name of a run that starts now has behind the stem: "-20261122-190811-042", in UTC.
std::string startSuffix();

/// What a file name has behind stem and start: "_17.ztbin"; "" for the file of anything else.
std::string_view restOfRunName(std::string_view name, std::string_view stem);

/// Whether such a rest is that of a numbered file: "_17.ztbin".
bool isNumberedRest(std::string_view rest);

}  // namespace tavrin
