# Reads the export table (lines "<ordinal> <name>", '#' comments) and writes the
# files derived from it.

function(tav_read_export_table file out_names out_ordinals)
  file(STRINGS ${file} lines)
  set(names "")
  set(ordinals "")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "#.*$" "" line "${line}")
    string(STRIP "${line}" line)
    if(line STREQUAL "")
      continue()
    endif()
    if(NOT line MATCHES "^([0-9]+)[ \t]+([A-Za-z_][A-Za-z0-9_]*)$")
      message(FATAL_ERROR "export table: bad line '${line}'")
    endif()
    list(APPEND ordinals ${CMAKE_MATCH_1})
    list(APPEND names ${CMAKE_MATCH_2})
  endforeach()
  set(${out_names} "${names}" PARENT_SCOPE)
  set(${out_ordinals} "${ordinals}" PARENT_SCOPE)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
endfunction()

# ELF version script: every name of the table is global (a name with no
# definition yet is simply not exported), all else is local.
function(tav_write_version_script file names)
  set(text "{\n  global:\n")
  foreach(n IN LISTS names)
    string(APPEND text "    ${n};\n")
  endforeach()
  string(APPEND text "  local:\n    *;\n};\n")
  file(WRITE ${file} "${text}")
endfunction()

# Windows module-definition file: "name @ordinal".
function(tav_write_def file names ordinals)
  set(text "LIBRARY tav_q7\nEXPORTS\n")
  foreach(n o IN ZIP_LISTS names ordinals)
    string(APPEND text "    ${n} @${o}\n")
  endforeach()
  file(WRITE ${file} "${text}")
endfunction()
