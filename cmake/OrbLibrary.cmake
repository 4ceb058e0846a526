# orb_add_library(<name> [OUTPUT <file name>] SOURCES ... [PUBLIC_HEADERS ...]
#                 [INCLUDE <dir>] [PUBLIC_LINK ...] [PRIVATE_LINK ...])
#
# Makes three targets from one list of sources:
#   <name>_objects              the object files, also linked into the unit tests, so that
#                               hidden symbols stay testable
#   <name>                      the shared library, hidden visibility, version and soname
#   orbfileaccess::<name>       its alias, the name under which everybody links it
# A target publishes only its INCLUDE folder; everything else stays private.
include(GenerateExportHeader)

function(orb_add_library name)
  cmake_parse_arguments(ARG "" "OUTPUT;INCLUDE" "SOURCES;PUBLIC_HEADERS;PUBLIC_LINK;PRIVATE_LINK" ${ARGN})
  if(NOT ARG_OUTPUT)
    set(ARG_OUTPUT ${name})
  endif()

  add_library(${name}_objects OBJECT ${ARG_SOURCES})
  target_include_directories(${name}_objects
    PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/${ARG_INCLUDE}>
           $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}/export>
    PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/src)
  target_link_libraries(${name}_objects
    PUBLIC ${ARG_PUBLIC_LINK}
    PRIVATE ${ARG_PRIVATE_LINK} $<BUILD_INTERFACE:orb_warnings>)
  generate_export_header(${name}_objects BASE_NAME ${name}
    EXPORT_FILE_NAME ${CMAKE_CURRENT_BINARY_DIR}/export/${name}_export.h)
  target_compile_definitions(${name}_objects PRIVATE ${name}_objects_EXPORTS ${name}_EXPORTS)

  add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
  add_library(orbfileaccess::${name} ALIAS ${name})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/${ARG_INCLUDE}>
    $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}/export>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/orbfileaccess>)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LINK} PRIVATE ${ARG_PRIVATE_LINK})
  target_compile_features(${name} PUBLIC cxx_std_17)
  if(NOT ORB_SANITIZE)  # the runtime of a sanitizer comes with the program
    target_link_options(${name} PRIVATE -Wl,-z,defs)
  endif()
  # Calls inside a library go straight to their target, not through a table that others could redirect.
  target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions)
  set_target_properties(${name} PROPERTIES
    OUTPUT_NAME ${ARG_OUTPUT}
    INSTALL_RPATH "$ORIGIN"
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})

  install(TARGETS ${name} EXPORT orbfileaccessTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(FILES ${ARG_PUBLIC_HEADERS} ${CMAKE_CURRENT_BINARY_DIR}/export/${name}_export.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orbfileaccess)
endfunction()
