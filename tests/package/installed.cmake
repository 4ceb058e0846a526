# Installs the build tree into a scratch prefix and builds the example against it, once with find_package and once with
# pkg-config. Nothing of the source or build tree is on the paths of either.
set(scratch ${CMAKE_CURRENT_BINARY_DIR}/installed)
set(prefix ${scratch}/prefix)
file(REMOVE_RECURSE ${scratch})
file(MAKE_DIRECTORY ${scratch})

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${scratch} RESULT_VARIABLE result OUTPUT_VARIABLE output
    ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "${command}\nended with ${result}:\n${output}")
  endif()
endfunction()

function(run_example program)
  run(${CMAKE_COMMAND} -DPROGRAM=${program} -P ${SOURCE_DIR}/run_example.cmake)
endfunction()

set(flags "")
if(SANITIZE)
  set(flags -fsanitize=${SANITIZE})
endif()

# The prefix is not one that the system's loader knows.
set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBDIR})

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# The tool finds its libraries and the nuclide library wherever it was installed.
if(EXISTS ${prefix}/bin/orb)
  run(${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${prefix}/bin/orb simulate made.dat --nuclides Cs-137 --force)
endif()

configure_file(${SOURCE_DIR}/stranger/CMakeLists.txt ${scratch}/stranger/CMakeLists.txt COPYONLY)
configure_file(${EXAMPLE} ${scratch}/stranger/first_file.cpp COPYONLY)
run(${CMAKE_COMMAND} -S ${scratch}/stranger -B ${scratch}/build -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${flags})
run(${CMAKE_COMMAND} --build ${scratch}/build)
run_example(${scratch}/build/first_file)

# An engine of one's own, built on the package, as a step of a sequence that the installed tool runs.
if(EXISTS ${prefix}/bin/orb)
  file(COPY ${ENGINE_EXAMPLE}/ DESTINATION ${scratch}/engine)
  run(${CMAKE_COMMAND} -S ${scratch}/engine -B ${scratch}/engine_build -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${flags})
  run(${CMAKE_COMMAND} --build ${scratch}/engine_build)
  run(${prefix}/bin/orb engines --check)
  run(${prefix}/bin/orb sequence new own.asf)
  run(${prefix}/bin/orb sequence add own.asf "dead time")
  run(${prefix}/bin/orb set made.dat ORB_D_REALTIME 4000)
  run(${prefix}/bin/orb run made.dat --sequence own.asf --aef ${scratch}/engine/dead_time.aef
    --engines ${scratch}/engine_build)
  execute_process(COMMAND ${prefix}/bin/orb get made.dat ORB_D_DEADTIME WORKING_DIRECTORY ${scratch}
    OUTPUT_VARIABLE dead_time OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT dead_time MATCHES "^(10|9\\.99999[0-9]*|10\\.00000[0-9]*)$")
    message(FATAL_ERROR "the engine left a dead time of '${dead_time}', not 10")
  endif()
  run(${prefix}/bin/orb analyze made.dat)
endif()

find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
  message(FATAL_ERROR "pkg-config is not installed")
endif()
set(ENV{PKG_CONFIG_LIBDIR} ${prefix}/${LIBDIR}/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --define-variable=prefix=${prefix} --cflags --libs orbfileaccess
  RESULT_VARIABLE result OUTPUT_VARIABLE arguments ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "pkg-config: ${errors}")
endif()
separate_arguments(arguments UNIX_COMMAND "${arguments}")
run(${CXX} -std=c++17 ${flags} ${scratch}/stranger/first_file.cpp -o ${scratch}/by_pkgconfig ${arguments})
run_example(${scratch}/by_pkgconfig)
