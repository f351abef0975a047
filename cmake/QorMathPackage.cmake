# Installation: headers, both libraries, the CMake package and the pkg-config file. Three components, which become three
# packages: library (what a program needs to run), development (what it needs to be built), and program.

include(CMakePackageConfigHelpers)

install(TARGETS qormath EXPORT QorMathTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS qormath_static EXPORT QorMathStaticTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/qormath DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.hpp" PATTERN "*.h"
  PATTERN detail EXCLUDE
  PATTERN lapack EXCLUDE
  PATTERN control_utility EXCLUDE)
install(DIRECTORY ${PROJECT_BINARY_DIR}/generated/qormath DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)

set(QORMATH_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QorMath)
foreach(export QorMathTargets QorMathStaticTargets)
  install(EXPORT ${export} NAMESPACE QorMath:: DESTINATION ${QORMATH_PACKAGE_DIR} COMPONENT development)
endforeach()
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/QorMathConfig.cmake.in ${PROJECT_BINARY_DIR}/QorMathConfig.cmake
  INSTALL_DESTINATION ${QORMATH_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QorMathConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/QorMathConfig.cmake ${PROJECT_BINARY_DIR}/QorMathConfigVersion.cmake
  cmake/FindCBLAS.cmake cmake/FindLAPACKE.cmake cmake/QorMathNumericLibraries.cmake
  DESTINATION ${QORMATH_PACKAGE_DIR} COMPONENT development)

# The prefix is found from the place of the .pc file, so that the installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH QORMATH_PC_TO_PREFIX ${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/qormath.pc.in ${PROJECT_BINARY_DIR}/qormath.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qormath.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
