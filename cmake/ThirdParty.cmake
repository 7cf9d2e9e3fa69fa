# The licences of what is compiled into the binaries: header-only libraries, the script of pages, and on
# Windows the runtime. docs/third-party.md tells what each is for. The texts are those of the
# packages that they come from; with what is to be said of Tavrin itself they make one file.
set(third_party_packages rapidjson-dev libcli11-dev libtomlplusplus-dev libprotozero-dev)
if(TARGET exporter_html)
  list(APPEND third_party_packages libjs-dygraphs)
endif()
if(TARGET tavrin_python)
  list(APPEND third_party_packages pybind11-dev)
endif()
if(WIN32)
  list(APPEND third_party_packages libz-mingw-w64-dev gcc-mingw-w64-x86-64-posix-runtime
       mingw-w64-x86-64-dev)
endif()

set(third_party_licences ${CMAKE_CURRENT_BINARY_DIR}/copyright)
set(text "Tavrin
Copyright 2026 the developers of Tavrin

License: not yet licensed. The licence of Tavrin is its owner's decision.

The binaries have parts of other projects in them. Their copyright and licences:
")
foreach(package ${third_party_packages})
  set(file /usr/share/doc/${package}/copyright)
  if(EXISTS ${file})
    file(READ ${file} licence)
    string(APPEND text "\n${package}\n\n${licence}")
  else()
    message(STATUS "The licence of ${package} is not installed with this build: there is no ${file}")
  endif()
endforeach()
# Debian has the texts that many licences share in a folder of their own.
if(NOT PW_DEBIAN)
  string(REGEX MATCHALL "/usr/share/common-licenses/[A-Z][A-Za-z0-9-]*(\\.[0-9]+)?" shared "${text}")
  foreach(file ${shared})
    file(REAL_PATH ${file} file)
    list(APPEND shared_files ${file})
  endforeach()
  list(REMOVE_DUPLICATES shared_files)
  foreach(file ${shared_files})
    file(READ ${file} licence)
    string(APPEND text "\n${file}\n\n${licence}")
  endforeach()
endif()
file(CONFIGURE OUTPUT ${third_party_licences} CONTENT "@text@" @ONLY)
install(FILES ${third_party_licences} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT command)
