# tavrin_add_plugin_library(NAME SOURCE...) makes a library of writers that hosts load, which they find
# by themselves if NAME begins with "tavrin_". `createPlugins` and `destroyPlugins` are all that it
# exports. The symbols of inlined standard library templates are exported by default: the version
# script keeps them inside.
set(tavrin_plugin_exports ${CMAKE_CURRENT_LIST_DIR}/plugin_exports.map)
function(tavrin_add_plugin_library name)
  add_library(${name} SHARED ${ARGN})
  target_link_libraries(${name} PRIVATE tavrin::host)
  if(WIN32)
    set_target_properties(${name} PROPERTIES PREFIX "")
  else()
    target_link_options(${name} PRIVATE LINKER:--version-script=${tavrin_plugin_exports})
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${tavrin_plugin_exports})
  endif()
endfunction()
