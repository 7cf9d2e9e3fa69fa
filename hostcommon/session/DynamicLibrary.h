#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// Loading a library at run time, the same on Linux and Windows.
namespace pwr {

/// The plugin library of the tool's own formats, and how the names of all of them begin and end.
#if defined(_WIN32)
inline constexpr const char* kPluginLibraryName = "tavrin_writers.dll";
inline constexpr std::string_view kPluginStart = "tavrin_";
inline constexpr std::string_view kPluginEnd = ".dll";
#else
inline constexpr const char* kPluginLibraryName = "libtavrin_writers.so";
inline constexpr std::string_view kPluginStart = "libtavrin_";
inline constexpr std::string_view kPluginEnd = ".so";
#endif

/// The folder of the running executable.
std::filesystem::path executableFolder();
/// The folder of the library or executable that this function is a part of.
std::filesystem::path libraryFolder();

/// Null with `error` set on failure.
void* openLibrary(const std::string& path, std::string& error);
/// Null when the library does not export `name`.
void* findSymbol(void* library, const char* name);
void closeLibrary(void* library);

}  // namespace pwr
