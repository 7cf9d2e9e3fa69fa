# Cross-builds for 64-bit Windows with MinGW-w64; the tests run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
# The compiler's own runtime goes into each binary, so that they run without further files.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static-libgcc -Wl,-Bstatic -lstdc++ -lwinpthread -Wl,-Bdynamic")
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
