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

/// Puts the system's text for an errno value into `buffer`, always terminated, cut to `size` bytes.
PW_HOST_API void pw_strerror(int errnum, char* buffer, unsigned long long size);

}  // namespace pwr

/// As the C library's `snprintf`.
PW_HOST_API int pw_snprintf(char* buffer, std::size_t size, const char* format, ...)
    PW_PRINTF_LIKE(3, 4);
