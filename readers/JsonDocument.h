#pragma once

#include <rapidjson/document.h>

#include <istream>

#include "formats/json_memory.h"

using JsonDocument =
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<JsonMemory>,
                               JsonMemory>;
using JsonValue = JsonDocument::ValueType;

/// Reads `file` to its end as one JSON document. Throws FormatError with the place of the fault,
/// also where objects and arrays nest deeper than in any sound file, and std::bad_alloc.
void parseJson(std::istream& file, JsonDocument& document);
