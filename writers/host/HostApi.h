#pragma once

/// PW_HOST_API marks what libhostcommon exports. Everything is compiled with hidden visibility, so
/// a declaration without it stays private to the library that defines it.
#if defined(_WIN32)
#if defined(PW_BUILDING_HOSTCOMMON)
#define PW_HOST_API __declspec(dllexport)
#else
#define PW_HOST_API __declspec(dllimport)
#endif
#else
#define PW_HOST_API __attribute__((visibility("default")))
#endif

/// The version of the host interface: of what writers/host/ and hostcommon/ declare. It changes
/// when what was built against these declarations no longer works with a later build of them, and
/// is the version of the shared library's name. A host loads plugin libraries of its own version
/// only.
#define PW_HOST_INTERFACE_VERSION "1"

/// Lets the compiler check the arguments of a printf-like function. `text` and `first` are the
/// positions of the format string and of the first variable argument, counted from 1 (a member
/// function's `this` is 1).
#if defined(__MINGW32__)
#define PW_PRINTF_LIKE(text, first) __attribute__((format(gnu_printf, text, first)))
#else
#define PW_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#endif
