# A library of writers that hosts load: `createPlugins` and `destroyPlugins` are all that it exports.
# The symbols of inlined standard library templates are exported by default: the version script keeps
# them inside.
set(plugin_exports ${CMAKE_CURRENT_LIST_DIR}/plugin_exports.map)
function(add_plugin_library name)
  add_library(${name} SHARED ${ARGN})
  if(WIN32)
    set_target_properties(${name} PROPERTIES PREFIX "")
  else()
    target_link_options(${name} PRIVATE LINKER:--version-script=${plugin_exports})
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${plugin_exports})
  endif()
endfunction()
