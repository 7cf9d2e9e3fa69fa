# What a build for Windows with MinGW-w64 needs beyond the compiler.

# The formats of printf are those of the C standard (%zu, %llu), not those of the old C runtime.
add_compile_definitions(__USE_MINGW_ANSI_STDIO=1 UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX)

# Objects and exceptions cross the borders of the libraries, so all of them share one runtime, which
# is copied beside the executables, without its debug information.
file(MAKE_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
foreach(runtime libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${runtime}
                  OUTPUT_VARIABLE runtime_file OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(runtime ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${runtime})
  execute_process(COMMAND ${CMAKE_STRIP} --preserve-dates -o ${runtime} ${runtime_file} COMMAND_ERROR_IS_FATAL ANY)
  list(APPEND runtime_libraries ${runtime})
endforeach()

# Lets a cross-build find header-only libraries of the build machine, without the other headers of
# /usr/include, which belong to another C library.
function(link_host_headers)
  set(root ${CMAKE_BINARY_DIR}/host-headers)
  file(MAKE_DIRECTORY ${root}/include)
  foreach(folder ${ARGN})
    file(CREATE_LINK /usr/include/${folder} ${root}/include/${folder} SYMBOLIC)
  endforeach()
  set(CMAKE_FIND_ROOT_PATH ${CMAKE_FIND_ROOT_PATH} ${root} PARENT_SCOPE)
endfunction()
if(CMAKE_CROSSCOMPILING)
  link_host_headers(rapidjson toml++ CLI protozero)
  # Only the tests need the emulator, not the build.
  set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
endif()

# GoogleTest is installed as a library of the build machine and as sources; these are for the tests.
function(add_googletest_sources)
  set(BUILD_GMOCK OFF)
  set(INSTALL_GTEST OFF)
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  target_compile_options(gtest PRIVATE -w)
  target_compile_options(gtest_main PRIVATE -w)
endfunction()
