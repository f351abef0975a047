# Debian packages, made by cpack: one for the library, named after the version that programs link against; one for
# development; one for the program. tools/packages builds them as Debian lays files out.

if(NOT GZIP_PROGRAM)
  return()
endif()

set(QORMATH_PACKAGE_CONTACT "QorMath contributors <maintainers@qormath.invalid>" CACHE STRING
  "Name and address of whoever answers for the packages")
set(library_package libqormath${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qormath)
set(CPACK_PACKAGE_CONTACT "${QORMATH_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

# ---------------------------------------------------------------- what is in which package

set(CPACK_COMPONENTS_ALL library development)
if(QORMATH_BUILD_PROGRAM)
  list(APPEND CPACK_COMPONENTS_ALL program)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
set(CPACK_COMPONENT_PROGRAM_DEPENDS library)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# ---------------------------------------------------------------- control fields

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE qormath)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)  # of the packages that hold a shared library, which is one
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
# The program's library is on no path of this machine yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/qormath)

set(in_common "QorMath holds the models of multivariable process control as step-response
curves and in state space, takes them from one form to the other, and
conditions them: minimal realisation, balanced reduction, separation of
unstable modes and ramps, steady-state gains that stay what they were. Beneath
stand ordered Schur forms, matrix functions and solvers of matrix equations, on
BLAS and LAPACK.
.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "models of multivariable process control, shared library
${in_common}
This package has the shared library that programs need to run.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqormath-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# The static library leaves BLAS and LAPACK to the link line of its user, and its CMake files look for the BLAS that it
# was built with. An alternative would be satisfied by the plain one, which LAPACK's own package brings.
if(BLA_VENDOR STREQUAL "OpenBLAS")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "liblapacke-dev, libopenblas-dev")
else()
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "liblapacke-dev, liblapack-dev, libblas-dev")
endif()
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "models of multivariable process control, development files
${in_common}
This package has the headers, the static library and the files for CMake and
pkg-config.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME qormath)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "models of multivariable process control, program
${in_common}
This package has the program qormath, which reads step-response model files,
reduces them to small clean models, and converts between curves and state
space.")

# ---------------------------------------------------------------- what only a package has: licence and changes

# Debian's own list of changes has one entry for a package, which points at the project's. Its date is that of
# SOURCE_DATE_EPOCH where the environment has it.
set(package_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
string(TIMESTAMP package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${PROJECT_SOURCE_DIR}/packaging/changelog.in ${PROJECT_BINARY_DIR}/packaging/changelog @ONLY)

qormath_compress(${PROJECT_SOURCE_DIR}/CHANGELOG.md packaging/changelog.gz)
qormath_compress(${PROJECT_BINARY_DIR}/packaging/changelog packaging/changelog.Debian.gz)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} component_upper)
  set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${component_upper}_PACKAGE_NAME})
  set(copyright copyright)
  if(component STREQUAL "program")
    set(copyright copyright-program)  # it is compiled with header-only libraries, whose licences come along
  endif()
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/${copyright} RENAME copyright DESTINATION ${doc_dir}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
  foreach(file changelog.gz changelog.Debian.gz)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/${file} DESTINATION ${doc_dir}
      COMPONENT ${component} EXCLUDE_FROM_ALL)
  endforeach()
endforeach()

include(CPack)
