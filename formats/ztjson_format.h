#pragma once

/// The JSON trace (".ztjson") and the numbered files of a continuous run: the keys that their
/// writer and their reader share. Both formats are described in docs/formats/json-trace.md.
///
/// Keys are arrays rather than views, so that the writer can put the text around them together when
/// it is compiled.
namespace ztjson {

/// The document of a whole run.
namespace trace {
inline constexpr char kFileType[] = "fileType";
inline constexpr char kFileTypeText[] = "tavrin";
inline constexpr char kVersion[] = "version";
inline constexpr char kMajor[] = "major";
inline constexpr char kMinor[] = "minor";
inline constexpr char kRevision[] = "rev";
inline constexpr unsigned long long kMajorNumber = 1;

inline constexpr char kSystem[] = "systemMetaData";
inline constexpr char kPlatform[] = "platform";
inline constexpr char kOs[] = "os";
inline constexpr char kTavrin[] = "tavrin";

inline constexpr char kData[] = "data";  // of the document, and of a group
inline constexpr char kMetaData[] = "metaData";
inline constexpr char kType[] = "type";
inline constexpr char kStates[] = "states";
inline constexpr char kAltUnits[] = "altUnits";
inline constexpr char kUnit[] = "unit";
inline constexpr char kConversion[] = "conversion";
inline constexpr char kIsCalculatedRate[] = "isCalculatedRate";
inline constexpr char kUnits[] = "units";

inline constexpr char kName[] = "name";  // of a unit, and of a container
inline constexpr char kFriendlyName[] = "friendlyName";
inline constexpr char kPoints[] = "points";
inline constexpr char kStart[] = "x";
inline constexpr char kEnd[] = "x1";
inline constexpr char kValue[] = "y";
inline constexpr char kSecondValue[] = "y1";
}  // namespace trace

/// A numbered file.
namespace numbered {
inline constexpr char kMetadata[] = "Metadata";
inline constexpr char kFeatureName[] = "FeatureName";
inline constexpr char kName[] = "Name";  // of a node, then once more of the metric
inline constexpr char kId[] = "ID";      // of a node, and of a point's metric: signed 32 bits

inline constexpr char kSystem[] = "SystemMetadata";  // name and feature name of the system's node
inline constexpr char kPlatform[] = "Platform";
inline constexpr char kPlatformName[] =
    "Plaform Name";  // spelt like this; "Platform Name" in a trace
inline constexpr char kOs[] = "OS";
inline constexpr char kTavrin[] = "Tavrin";

inline constexpr char kUnits[] = "Units";
inline constexpr char kQuantity[] = "Quantity";
inline constexpr char kType[] = "Type";
inline constexpr char kStates[] = "States";
inline constexpr char kCombinations[] = "Entity-Descriptor-Combinations";
inline constexpr char kEntity[] = "Entity";          // of a combination, and of a point
inline constexpr char kDescriptor[] = "Descriptor";  // the same
inline constexpr char kAttributeText[] = "eValue";

inline constexpr char kData[] = "Data";
inline constexpr char kTimestamp[] = "Timestamp";
inline constexpr char kDuration[] = "Duration";
inline constexpr char kValue[] = "Value";
}  // namespace numbered

/// Facts of the system that both documents have.
inline constexpr char kStartTimestamp[] = "Collection Start Timestamp";
inline constexpr char kStopTimestamp[] = "Collection Stop Timestamp";
inline constexpr char kCollectionDuration[] = "Collection Duration";

}  // namespace ztjson
