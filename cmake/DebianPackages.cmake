# Debian's packages: their names, what they need, and the files that each of them has to have.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_COMPONENTS_ALL "")
set(debian_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

# The date is that of SOURCE_DATE_EPOCH, if that is set.
string(TIMESTAMP debian_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changelog ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.Debian)
file(WRITE ${changelog} "tavrin (${debian_version}) unstable; urgency=medium

  * Version ${PROJECT_VERSION}.

 -- ${CPACK_PACKAGE_CONTACT}  ${debian_date}
")
find_program(GZIP gzip REQUIRED)
execute_process(COMMAND ${GZIP} -9nf ${changelog} COMMAND_ERROR_IS_FATAL ANY)

# A package of a library that others link has the loader's list of libraries made anew. CPack would write
# scripts that call ldconfig, if it were not told of others: there are none.
set(scripts ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(WRITE ${scripts}/triggers "activate-noawait ldconfig\n")
set(library_control ${scripts}/triggers ${scripts}/none/postinst ${scripts}/none/postrm)
set(CPACK_DEBIAN_HOST_PACKAGE_CONTROL_EXTRA ${library_control})
set(CPACK_DEBIAN_READER_PACKAGE_CONTROL_EXTRA ${library_control})

# What the owner of a machine changes there stays as it is.
file(WRITE ${scripts}/conffiles "${CMAKE_INSTALL_FULL_SYSCONFDIR}/tavrin/record.toml\n")
set(CPACK_DEBIAN_COMMAND_PACKAGE_CONTROL_EXTRA ${scripts}/conffiles)

# Makes a package of a component. `depends` and `recommends` may have "=" after the name of a package
# of this version.
function(debian_package component)
  cmake_parse_arguments(PARSE_ARGV 1 arg "ALL" "NAME;SECTION;SUMMARY;TEXT" "DEPENDS;RECOMMENDS;SUGGESTS")
  string(TOUPPER ${component} upper)
  set(prefix CPACK_DEBIAN_${upper})
  foreach(kind DEPENDS RECOMMENDS SUGGESTS)
    list(TRANSFORM arg_${kind} REPLACE "=$" " (= ${debian_version})")
    list(JOIN arg_${kind} ", " packages)
    set(${prefix}_PACKAGE_${kind} "${packages}" PARENT_SCOPE)
  endforeach()
  set(${prefix}_PACKAGE_NAME ${arg_NAME} PARENT_SCOPE)
  set(${prefix}_PACKAGE_SECTION ${arg_SECTION} PARENT_SCOPE)
  set(${prefix}_PACKAGE_PRIORITY optional PARENT_SCOPE)
  if(arg_ALL)
    set(${prefix}_PACKAGE_ARCHITECTURE all PARENT_SCOPE)
  endif()
  set(${prefix}_DESCRIPTION "${arg_SUMMARY}\n${arg_TEXT}" PARENT_SCOPE)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  install(FILES ${third_party_licences} ${changelog}.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${arg_NAME} COMPONENT ${component})
endfunction()

set(host_package libhostcommon${PW_HOST_INTERFACE_VERSION})
debian_package(command NAME tavrin SECTION utils
  SUMMARY "power and performance telemetry in several formats"
  TEXT "Tavrin collects what a machine tells of its processors' sleep states, time and
frequencies, of temperatures, energy, interrupts, disks, networks and
processes, or replays what was recorded, and writes reports, tables, traces
and databases."
  DEPENDS tavrin-writers= ${host_package}= SUGGESTS tavrin-doc= python3-tavrin=)
debian_package(writers NAME tavrin-writers SECTION libs
  SUMMARY "output writers of Tavrin"
  TEXT "Plugin libraries that write telemetry as reports, tables, traces, pages and
databases. The command tavrin loads them, and so may any program that uses the
host library."
  DEPENDS ${host_package}=)
debian_package(host NAME ${host_package} SECTION libs
  SUMMARY "host library of Tavrin"
  TEXT "What describes telemetry and hands it to output writers, which are plugin
libraries: sessions, the object model of metrics, summaries, logging."
  RECOMMENDS tavrin-writers=)
debian_package(reader NAME libtavrin-reader1 SECTION libs
  SUMMARY "reader of the results of Tavrin"
  TEXT "Reads the points of .ztbin, .ztjson and .pwr files, one by one or as columns,
with the series that they belong to. Its interface is one of C, which other
languages can call.")
debian_package(dev NAME libtavrin-dev SECTION libdevel
  SUMMARY "headers of the libraries of Tavrin"
  TEXT "What programs need that hand telemetry to the writers of Tavrin or read its
results, and plugin libraries with writers of their own: headers, a CMake
package, pkg-config files, examples."
  DEPENDS ${host_package}= libtavrin-reader1= RECOMMENDS tavrin-writers=)
debian_package(doc ALL NAME tavrin-doc SECTION doc
  SUMMARY "documentation of Tavrin"
  TEXT "Guides to measuring a command, recording for good, embedding the libraries and
writing plugins, and descriptions of the formats that Tavrin writes.")
if(TARGET tavrin_python)
  execute_process(COMMAND /usr/bin/python3 -c "import sys; print('%d.%d;%d.%d' % (
      sys.version_info[:2] + (sys.version_info[0], sys.version_info[1] + 1)))"
    OUTPUT_VARIABLE python_versions OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  list(POP_FRONT python_versions this_python next_python)
  debian_package(python NAME python3-tavrin SECTION python
    SUMMARY "reads the results of Tavrin in Python"
    TEXT "Makes arrays of NumPy and data frames of pandas of .ztbin, .ztjson and .pwr
files, or hands out their points one by one."
    DEPENDS libtavrin-reader1= "python3 (>= ${this_python})" "python3 (<< ${next_python})"
    RECOMMENDS python3-numpy python3-pandas)
  # Compiles the modules for the interpreter, and removes that again.
  file(WRITE ${scripts}/postinst "#!/bin/sh
set -e
if [ \"$1\" = configure ] && command -v py3compile >/dev/null; then py3compile -p python3-tavrin; fi
")
  file(WRITE ${scripts}/prerm "#!/bin/sh
set -e
if command -v py3clean >/dev/null; then py3clean -p python3-tavrin; fi
")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${scripts}/postinst ${scripts}/prerm)
endif()
