# Writes a C++ source that holds the scripts and styles of the HTML page.
#   cmake -DOUTPUT=... -DUPLOT_DIR=... -DPAGE_DIR=... -P EmbedPage.cmake
# Compilers may limit the length of a literal, so a text becomes a row of short ones.
set(chunk_length 2000)

function(embed name file out)
  file(READ "${file}" text)
  file(SHA256 "${file}" sha256)
  string(TOLOWER "${text}" lower)
  # Either of them would end or change the element that the text goes into.
  foreach(forbidden "</script" "</style" "<!--")
    string(FIND "${lower}" "${forbidden}" at)
    if(NOT at EQUAL -1)
      message(FATAL_ERROR "${file} holds ${forbidden} and cannot stand inside a page")
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
embed(kUplotScript "${UPLOT_DIR}/uPlot.iife.min.js" assets)
embed(kUplotStyle "${UPLOT_DIR}/uPlot.min.css" assets)
embed(kUplotLicence "${UPLOT_DIR}/LICENSE" assets)
embed(kPageScript "${PAGE_DIR}/page.js" assets)
embed(kPageStyle "${PAGE_DIR}/page.css" assets)
file(WRITE "${OUTPUT}" "#include \"page_assets.h\"\n\nnamespace orb::plot::assets {\n${assets}}  // namespace orb::plot::assets\n")
