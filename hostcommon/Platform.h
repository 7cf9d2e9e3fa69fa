#pragma once

#include <cstdio>
#include <string>

#include "writers/host/HostApi.h"

/// The few things that the C runtimes of Linux and Windows do differently. Paths are UTF-8.
namespace pwr::platform {

/// As fopen; the stream is not inherited by child processes. Null with errno set on failure.
FILE* openFile(const char* path, const char* mode);

/// The system's text for an errno value.
std::string errorText(int errnum);

/// Creates a directory with an unguessable name in `parent` ("" for the current directory) that
/// nobody else can read or enter. Returns its path, or "" with errno set.
PW_HOST_API std::string createPrivateDirectory(const std::string& parent);

/// Removes a private directory, which must be empty. False with errno set on failure.
PW_HOST_API bool removePrivateDirectory(const std::string& path);

/// Deletes every private directory that was not removed, with all it contains: for a process that
/// is about to be aborted. May be called from any thread.
PW_HOST_API void removeAllPrivateDirectories();

/// What createPrivateDirectory and removePrivateDirectory do on this system.
std::string makePrivateDirectory(const std::string& parent);
bool removeDirectory(const std::string& path);

/// Deletes a file. False with errno set on failure.
PW_HOST_API bool removeFile(const std::string& path);

/// Raises the number of files that may be open at once as far as the system allows.
PW_HOST_API void raiseOpenFileLimit();

}  // namespace pwr::platform
