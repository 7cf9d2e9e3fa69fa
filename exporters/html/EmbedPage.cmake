# Makes a source of the page's parts: cmake -D SCRIPT=… -D STYLE=… -D BODY=… -D LICENCE=… -D OUTPUT=…
# The browser runs the script and the style only if their SHA-256 is the one that the page's policy
# names: no byte may change from here on.
file(READ ${SCRIPT} script)
file(READ ${STYLE} style)
file(READ ${BODY} body)
file(READ ${LICENCE} licence)
set(script "/*!\nThis page contains dygraphs (libjs-dygraphs of Debian):\n\n${licence}*/\n${script}")

# What would end the element that it stands in, or begin a comment that hides the end.
foreach(part script style)
  string(TOLOWER "${${part}}" lower)
  foreach(forbidden "</script" "</style" "<!--")
    string(FIND "${lower}" "${forbidden}" place)
    if(NOT place EQUAL -1)
      message(FATAL_ERROR "The ${part} of the page contains ${forbidden}")
    endif()
  endforeach()
  string(SHA256 ${part}_hash "${${part}}")
endforeach()

set(delimiter pageText)
foreach(part script style body)
  string(FIND "${${part}}" ")${delimiter}\"" place)
  if(NOT place EQUAL -1)
    message(FATAL_ERROR "The ${part} of the page contains the end of its literal")
  endif()
endforeach()
file(WRITE ${OUTPUT} "#include \"exporters/html/PageFiles.h\"

const PageFiles& pageFiles() {
  static const PageFiles files{
R\"${delimiter}(${script})${delimiter}\",
\"${script_hash}\",
R\"${delimiter}(${style})${delimiter}\",
\"${style_hash}\",
R\"${delimiter}(${body})${delimiter}\"};
  return files;
}
")
