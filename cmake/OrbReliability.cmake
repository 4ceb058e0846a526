# orb_add_reliability(<name> COMMAND <word>... [DEPENDS <target>...] [TIMEOUT <seconds>] [NO_CTEST] [SANITIZED])
#
# One run of the reliability campaign. Its part is the folder that calls this; PART/page.toml says what the page tells of
# it. The word {json} of the command stands for the file of results, also named by the environment variable
# ORB_RELIABILITY_JSON; to it goes a line of JSON for each row:
#   {"row": "...", "figure": "...", "failures": 0, "seconds": 1.5, "command": "..."}
# ORB_RELIABILITY says how long it may take: nothing for a few seconds, `quarter` or `long`. A fault found: another exit code
# than 0. The target `reliability` builds what the runs DEPEND on; unless NO_CTEST the short run is a test with the
# labels `faults` and `reliability` too. The campaign takes what is SANITIZED from a build with sanitizers and all else from
# one without.
if(NOT TARGET reliability)
  add_custom_target(reliability)
endif()

function(orb_add_reliability name)
  cmake_parse_arguments(ARG "NO_CTEST;SANITIZED" "TIMEOUT" "COMMAND;DEPENDS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  get_filename_component(part ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  if((ARG_SANITIZED AND ORB_SANITIZE) OR NOT (ARG_SANITIZED OR ORB_SANITIZE))
    if(ARG_DEPENDS)
      add_dependencies(reliability ${ARG_DEPENDS})
    endif()
    string(REPLACE ";" "\n" words "${ARG_COMMAND}")
    file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/reliability/${part}.${name}.run CONTENT "${words}\n")
  endif()
  if(PROJECT_IS_TOP_LEVEL AND ORB_BUILD_TESTS AND NOT ARG_NO_CTEST)
    string(REPLACE "{json}" "/dev/null" command "${ARG_COMMAND}")
    add_test(NAME reliability.${part}.${name} COMMAND ${command})
    # One label, because ctest -L finds it by either word.
    set_tests_properties(reliability.${part}.${name} PROPERTIES LABELS faults-reliability TIMEOUT ${ARG_TIMEOUT}
      SKIP_RETURN_CODE 77)
  endif()
endfunction()
