# Lets the tool write its manual pages, packed, and its completions:
#   cmake -D TAVRIN=... -D FOLDER=... -P WriteManual.cmake
find_program(GZIP gzip REQUIRED)

function(write file)
  execute_process(COMMAND ${TAVRIN} ${ARGN} OUTPUT_FILE ${FOLDER}/${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(write_page name)
  write(man1/${name}.1 manual ${ARGN})
  execute_process(COMMAND ${GZIP} -9nf ${FOLDER}/man1/${name}.1 COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER}/man1 ${FOLDER}/bash ${FOLDER}/zsh ${FOLDER}/fish)
execute_process(COMMAND ${TAVRIN} manual OUTPUT_VARIABLE page COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "\n\\.BR tavrin\\\\-[a-z]+" commands "${page}")
list(TRANSFORM commands REPLACE ".*-" "")
list(REMOVE_DUPLICATES commands)
foreach(command ${commands})
  write_page(tavrin-${command} ${command})
endforeach()
write_page(tavrin)
write(bash/tavrin completion bash)
write(zsh/_tavrin completion zsh)
write(fish/tavrin.fish completion fish)
