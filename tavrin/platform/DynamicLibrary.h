#pragma once

#include <filesystem>
#include <string>

/// Loading a library at run time, the same on Linux and Windows.
namespace tavrin {

#if defined(_WIN32)
inline constexpr const char* kPluginLibraryName = "tavrin_writers.dll";
#else
inline constexpr const char* kPluginLibraryName = "libtavrin_writers.so";
#endif

/// The folder of the running executable.
std::filesystem::path executableFolder();

/// Null with `error` set on failure.
void* openLibrary(const std::string& path, std::string& error);
/// Null when the library does not export `name`.
void* findSymbol(void* library, const char* name);
void closeLibrary(void* library);

}  // namespace tavrin
