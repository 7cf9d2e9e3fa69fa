# Compiles the sources of a target that share a folder as one unit, where PW_UNITY asks for it: most
# of what the compiler does for a file of this project is reading the standard library. Names in
# anonymous namespaces therefore have to differ within a folder. A list of files that follows the
# target is compiled file by file.
function(unite_folders target)
  if(NOT PW_UNITY)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  list(REMOVE_ITEM sources ${ARGN})
  foreach(source ${sources})
    get_filename_component(folder ${source} DIRECTORY)
    if(IS_ABSOLUTE ${source})  # generated: a name that tells of no folder of this machine
      file(RELATIVE_PATH folder ${PROJECT_BINARY_DIR} ${folder})
    endif()
    string(MAKE_C_IDENTIFIER "folder_${folder}" group)
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
  endforeach()
endfunction()
