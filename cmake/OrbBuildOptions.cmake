# Compiler settings that hold for our own code only; none of them is exported.
option(ORB_WERROR "Treat warnings in our own code as errors" ON)
set(ORB_SANITIZE "" CACHE STRING "Sanitizers for every target: 'address,undefined' or 'thread'")

add_library(orb_warnings INTERFACE)
target_compile_options(orb_warnings INTERFACE
  -Wall -Wextra -Wconversion -Wshadow
  # g++ 12 warns of overlaps inside std::string operator+ that do not exist (GCC bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
  $<$<BOOL:${ORB_WERROR}>:-Werror>)

add_compile_options(-fno-semantic-interposition -fno-plt)

# 64-bit file offsets also where off_t has 4 bytes by default.
add_compile_definitions(_FILE_OFFSET_BITS=64)

if(ORB_SANITIZE)
  add_compile_options(-fsanitize=${ORB_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ORB_SANITIZE})
endif()

find_program(ORB_CCACHE ccache)
if(ORB_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER "${ORB_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${ORB_CCACHE}")
endif()
