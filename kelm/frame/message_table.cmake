# Numbered message tables from one text source (see messages.txt for the
# format): a STRINGTABLE resource on Windows, a table registered for the
# module through kelm/frame/message_table.h elsewhere.
#
#   kelm_message_table(<out-var> <source.txt> <name>)
# sets <out-var> to the generated source to add to the module's target.
#
# Run as a script (cmake -DSOURCE=... -DOUTPUT=... -DFORMAT=rc|cpp -P ...)
# it writes one generated file.

if(CMAKE_SCRIPT_MODE_FILE)
  get_filename_component(source_name ${SOURCE} NAME)
  file(READ ${SOURCE} content)
  # Keep semicolons and brackets away from CMake's list splitting.
  string(REPLACE ";" "@SEMICOLON@" content "${content}")
  string(REPLACE "[" "@LBRACKET@" content "${content}")
  string(REPLACE "]" "@RBRACKET@" content "${content}")
  string(REPLACE "\r" "" content "${content}")
  string(REPLACE "\n" ";" lines "${content}")

  if(FORMAT STREQUAL "rc")
    set(out "// Generated from ${source_name}; do not edit.\n#pragma code_page(65001)\n\nSTRINGTABLE\nBEGIN\n")
  else()
    set(out "// Generated from ${source_name}; do not edit.\n#include \"kelm/frame/message_table.h\"\n\nnamespace {\n\nconst MessageTableEntry kMessages[] = {\n")
  endif()
  set(count 0)
  foreach(line IN LISTS lines)
    if(line MATCHES "^[ \t]*$" OR line MATCHES "^#")
      continue()
    endif()
    if(NOT line MATCHES "^([0-9]+)[ \t]+(.*)$")
      message(FATAL_ERROR "${SOURCE}: not a message line: ${line}")
    endif()
    set(code ${CMAKE_MATCH_1})
    set(text "${CMAKE_MATCH_2}")
    string(REPLACE "@SEMICOLON@" ";" text "${text}")
    string(REPLACE "@LBRACKET@" "[" text "${text}")
    string(REPLACE "@RBRACKET@" "]" text "${text}")
    if(FORMAT STREQUAL "rc")
      string(REPLACE "\"" "\"\"" text "${text}")
      string(APPEND out "  ${code}, \"${text}\"\n")
    else()
      string(REPLACE "\"" "\\\"" text "${text}")
      string(APPEND out "    {${code}, \"${text}\"},\n")
    endif()
    math(EXPR count "${count} + 1")
  endforeach()
  if(count EQUAL 0)
    message(FATAL_ERROR "${SOURCE}: no messages")
  endif()
  if(FORMAT STREQUAL "rc")
    string(APPEND out "END\n")
  else()
    string(APPEND out "};\n\nconst MessageTable messages(kMessages);\n\n}  // namespace\n")
  endif()
  file(WRITE ${OUTPUT}.tmp "${out}")
  file(COPY_FILE ${OUTPUT}.tmp ${OUTPUT} ONLY_IF_DIFFERENT)
  file(REMOVE ${OUTPUT}.tmp)
  return()
endif()

set(KELM_MESSAGE_TABLE_SCRIPT ${CMAKE_CURRENT_LIST_FILE})

function(kelm_message_table out source name)
  if(WIN32)
    set(format rc)
  else()
    set(format cpp)
  endif()
  set(output ${CMAKE_CURRENT_BINARY_DIR}/${name}.${format})
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -DSOURCE=${source} -DOUTPUT=${output} -DFORMAT=${format}
            -P ${KELM_MESSAGE_TABLE_SCRIPT}
    DEPENDS ${source} ${KELM_MESSAGE_TABLE_SCRIPT}
    COMMENT "Generating the message table ${name}.${format}"
    VERBATIM)
  set(${out} ${output} PARENT_SCOPE)
endfunction()
