# Makes the installed pages and examples: they name the installed paths of programs and examples, and no sources.
set(installed_words
  "`./package` makes both in `dist/`. " ""
  "-IInclude " ""
  "Examples/host" "/usr/share/doc/vynnetwork-dev/examples/host"
  "Docs/host.md" "/usr/share/doc/vynnetwork/host.md"
  "build/libVYN" "/usr/lib/vynnetwork/libVYN"
  "../Host/README.md" "../vynhost/README.md"
  "Examples/" "/usr/share/doc/vynhost/examples/"
  "./run " "vynhost "
  "build/vynhost" "vynhost")

# Installs the changed files below the system's folder for documents.
function(install_pages folder)
  foreach(file ${ARGN})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} text)
    string(REGEX REPLACE "^<!--[^\n]*\n\n" "" text "${text}")
    string(REGEX REPLACE "## How it is built\n.*\n## " "## " text "${text}")
    set(words "${installed_words}")
    while(words)
      list(POP_FRONT words from to)
      string(REPLACE "${from}" "${to}" text "${text}")
    endwhile()
    if(text MATCHES "[ `](\\./(run|test|bench|package)|(build|Docs|Host|Source|Tests|Tools)/[a-zA-Z]+)")
      message(FATAL_ERROR "${file} speaks of ${CMAKE_MATCH_1}, which is not installed: see Tools/installed.cmake")
    endif()
    get_filename_component(name ${file} NAME)
    file(CONFIGURE OUTPUT installed/${folder}/${name} CONTENT "${text}" @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/installed/${folder}/${name}
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${folder})
  endforeach()
endfunction()
