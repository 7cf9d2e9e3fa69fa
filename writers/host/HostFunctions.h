#pragma once

#include <cstddef>
#include <cstdio>

#include "writers/host/HostApi.h"

namespace pwr {

/// True when the environment switch `name` is set, to whatever value other than "" and "0".
PW_HOST_API bool check_env(const char* name);

/// Opens a C stream. Returns true and sets `*out` on success; otherwise `*out` is null and errno
/// tells why. `path` is UTF-8 on every system.
PW_HOST_API bool openFileHandle(FILE** out, const char* path, const char* mode);

/// Tells the host of a temporary file, or of a folder of such, that it shall remove if the run is
/// aborted; and that it need not do so any longer. To be noted before it comes into being, so that
/// there is no moment in which an abort would miss it. `path` is UTF-8.
PW_HOST_API void noteTemporary(const char* path);
PW_HOST_API void forgetTemporary(const char* path);

/// Puts the system's text for an errno value into `buffer`, always terminated, cut to `size` bytes.
PW_HOST_API void pw_strerror(int errnum, char* buffer, unsigned long long size);

}  // namespace pwr

/// As the C library's `snprintf`.
PW_HOST_API int pw_snprintf(char* buffer, std::size_t size, const char* format, ...)
    PW_PRINTF_LIKE(3, 4);
