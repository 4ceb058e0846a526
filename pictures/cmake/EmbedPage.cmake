# Writes a C++ source that holds texts as the constants which a header declares.
#   cmake -DOUTPUT=... -DHEADER=... -DNAMESPACE=... -DASSETS="NAME=FILE|FILE;NAME=FILE" -P EmbedPage.cmake
# Several files of one name become one text.
# Compilers may limit the length of a literal, so a text becomes a row of short ones.
set(chunk_length 2000)

function(embed name files out)
  set(text "")
  foreach(file IN LISTS files)
    file(READ "${file}" part)
    string(APPEND text "${part}")
  endforeach()
  string(SHA256 sha256 "${text}")
  string(TOLOWER "${text}" lower)
  # Either of them would end or change the element that the text goes into.
  foreach(forbidden "</script" "</style" "<!--")
    string(FIND "${lower}" "${forbidden}" at)
    if(NOT at EQUAL -1)
      message(FATAL_ERROR "${files}: holds ${forbidden} and cannot stand inside a page")
    endif()
  endforeach()
  string(LENGTH "${text}" length)
  set(literals "")
  set(begin 0)
  while(begin LESS length)
    string(SUBSTRING "${text}" ${begin} ${chunk_length} chunk)
    string(REPLACE "\\" "\\\\" chunk "${chunk}")
    string(REPLACE "\"" "\\\"" chunk "${chunk}")
    string(REPLACE "\n" "\\n" chunk "${chunk}")
    string(REPLACE "??" "?\\?" chunk "${chunk}")  # compilers warn of trigraphs
    string(APPEND literals "    \"${chunk}\"\n")
    math(EXPR begin "${begin} + ${chunk_length}")
  endwhile()
  set(${out} "${${out}}const Asset ${name} = {\n${literals}    ,\n    \"${sha256}\"};\n" PARENT_SCOPE)
endfunction()

set(assets "")
foreach(asset IN LISTS ASSETS)
  string(REGEX MATCH "^([^=]+)=(.+)$" matched "${asset}")
  set(name ${CMAKE_MATCH_1})
  string(REPLACE "|" ";" files "${CMAKE_MATCH_2}")
  embed(${name} "${files}" assets)
endforeach()
file(WRITE "${OUTPUT}" "#include \"${HEADER}\"\n\nnamespace ${NAMESPACE} {\n${assets}}  // namespace ${NAMESPACE}\n")
