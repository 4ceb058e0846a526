# Exported package: find_package(orbfileaccess) and pkg-config.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orbfileaccess)
install(EXPORT orbfileaccessTargets NAMESPACE orbfileaccess:: DESTINATION ${package_dir})
configure_package_config_file(
  ${CMAKE_CURRENT_SOURCE_DIR}/cmake/orbfileaccessConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/orbfileaccessConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/orbfileaccessConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/orbfileaccessConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/orbfileaccessConfigVersion.cmake
  DESTINATION ${package_dir})

# One .pc file for each library: name, file name, what it needs, what it is.
function(orb_pkgconfig name library requires description)
  set(PC_NAME ${name})
  # Wherever the prefix ends up: from the folder of the file itself.
  file(RELATIVE_PATH PC_UP /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  set(PC_LIBRARY ${library})
  set(PC_REQUIRES "${requires}")
  set(PC_DESCRIPTION "${description}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

orb_pkgconfig(utillibrary utillibrary "" "Values, byte streams, time, module loading, log")
orb_pkgconfig(porb porb "" "Data-file service of a gamma-spectroscopy instrument")
orb_pkgconfig(anautils anautils "porb" "Analysis routines: calibrations, efficiency, regions, location and fit of lines")
orb_pkgconfig(orbfileaccess fileaccesslibrary "utillibrary porb" "${PROJECT_DESCRIPTION}")
if(TARGET measurement)
  orb_pkgconfig(measurement measurement "orbfileaccess utillibrary"
    "Whole measurements: any spectrum opened, analysed, calibrated and read as plain rows")
endif()
