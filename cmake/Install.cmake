# What an installation has, and where. All folders are relative to the prefix, and whatever looks for
# another file does so from where it is itself: a prefix can be moved as a whole. Each component is
# a package of its own (cmake/Packages.cmake).
include(CMakePackageConfigHelpers)

set(include_folder ${CMAKE_INSTALL_INCLUDEDIR}/tavrin)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/tavrin)
# Windows finds libraries beside the executable; elsewhere `pwr::pluginFolders` has this one.
set(plugin_folder ${CMAKE_INSTALL_LIBDIR}/tavrin)
if(WIN32)
  set(plugin_folder ${CMAKE_INSTALL_BINDIR})
endif()
# That of Debian's interpreter.
set(python_folder lib/python3/dist-packages/tavrin)

# Installs a library or program, which looks for the libraries beside which it lives.
function(install_binary target folder component)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY ${folder} OUTPUT_VARIABLE up)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${up}")
  install(TARGETS ${target}
          RUNTIME DESTINATION ${folder} COMPONENT ${component}
          LIBRARY DESTINATION ${folder} COMPONENT ${component})
endfunction()
install_binary(tavrin ${CMAKE_INSTALL_BINDIR} command)
install_binary(tavrin_writers ${plugin_folder} writers)
install_binary(tavrin_exporters ${plugin_folder} writers)
if(TARGET tavrin_python)
  install_binary(tavrin_python ${python_folder} python)
  install(FILES ${python_files} DESTINATION ${python_folder} COMPONENT python)
endif()

# Installs a library that others link, with its headers, and exports it as tavrin::NAME.
function(install_library target name)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  install(TARGETS ${target} EXPORT tavrin-targets
          RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${name}
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${name} NAMELINK_COMPONENT dev
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
          FILE_SET HEADERS DESTINATION ${include_folder} COMPONENT dev
          INCLUDES DESTINATION ${ARGN})
endfunction()
install_library(writers_interface writers_interface)
install_library(hostcommon host)
install_library(tavrin_reader reader ${include_folder}/readers)

install(EXPORT tavrin-targets NAMESPACE tavrin:: DESTINATION ${package_folder} COMPONENT dev)
configure_package_config_file(cmake/tavrin-config.cmake.in tavrin-config.cmake
  INSTALL_DESTINATION ${package_folder} PATH_VARS plugin_folder)
write_basic_package_version_file(tavrin-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
          ${CMAKE_CURRENT_BINARY_DIR}/tavrin-config.cmake
          ${CMAKE_CURRENT_BINARY_DIR}/tavrin-config-version.cmake
          cmake/PluginLibrary.cmake
          cmake/plugin_exports.map
        DESTINATION ${package_folder} COMPONENT dev)

set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_folder}
           OUTPUT_VARIABLE prefix_from_pkgconfig)
foreach(name tavrin tavrin-reader)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
          DESTINATION ${pkgconfig_folder} COMPONENT dev)
endforeach()

# Manual pages and completions: the tool writes them, if it runs here.
if(NOT CMAKE_CROSSCOMPILING)
  set(manual_folder ${CMAKE_CURRENT_BINARY_DIR}/manual)
  add_custom_command(OUTPUT ${manual_folder}/bash/tavrin
    COMMAND ${CMAKE_COMMAND} -D TAVRIN=$<TARGET_FILE:tavrin> -D FOLDER=${manual_folder}
            -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/WriteManual.cmake
    DEPENDS tavrin cmake/WriteManual.cmake
    COMMENT "Writing manual pages and completions"
    VERBATIM)
  add_custom_target(manual ALL DEPENDS ${manual_folder}/bash/tavrin)
  install(DIRECTORY ${manual_folder}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT command)
  foreach(of "bash bash-completion/completions" "zsh zsh/vendor-completions"
             "fish fish/vendor_completions.d")
    separate_arguments(of)
    list(GET of 0 shell)
    list(GET of 1 folder)
    install(DIRECTORY ${manual_folder}/${shell}/ DESTINATION ${CMAKE_INSTALL_DATADIR}/${folder}
            COMPONENT command)
  endforeach()
endif()

# A service, which nobody has started yet. Its unit names the folders of this prefix.
if(CMAKE_SYSTEM_NAME STREQUAL Linux)
  set(PW_UNIT_FOLDER lib/systemd/system CACHE STRING "Where units of systemd are installed")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS config/tavrin.service)
  file(READ config/tavrin.service unit)
  string(REPLACE /usr/bin/tavrin ${CMAKE_INSTALL_FULL_BINDIR}/tavrin unit "${unit}")
  string(REPLACE /etc/ ${CMAKE_INSTALL_FULL_SYSCONFDIR}/ unit "${unit}")
  file(CONFIGURE OUTPUT tavrin.service CONTENT "${unit}" @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tavrin.service DESTINATION ${PW_UNIT_FOLDER} COMPONENT command)
  install(FILES config/record.toml DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/tavrin COMPONENT command)
endif()

install(FILES config/tavrin-output.toml DESTINATION ${CMAKE_INSTALL_DATADIR}/tavrin COMPONENT command)
# CMAKE_INSTALL_DOCDIR carries the name of the project.
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc
        FILES_MATCHING PATTERN *.md PATTERN *.json PATTERN *.png)
install(FILES CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT doc OPTIONAL)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev)

if(WIN32)
  install(FILES ${runtime_libraries} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)
endif()
