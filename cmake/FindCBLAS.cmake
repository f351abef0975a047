# Finds the C interface of the BLAS that FindBLAS has found, and makes the target CBLAS::CBLAS.
# Most BLAS libraries carry the interface themselves; a separate libcblas is taken where they do not.

include(CheckFunctionExists)
include(CMakePushCheckState)
include(FindPackageHandleStandardArgs)

# Distributions keep OpenBLAS's own header in a folder of its own; the plain one belongs to whichever BLAS they prefer.
if(BLA_VENDOR MATCHES "OpenBLAS")
  set(cblas_path_suffixes openblas openblas-pthread openblas-openmp openblas-serial)
endif()
find_path(CBLAS_INCLUDE_DIR cblas.h PATH_SUFFIXES ${cblas_path_suffixes})

cmake_push_check_state()
list(APPEND CMAKE_REQUIRED_LIBRARIES BLAS::BLAS)
check_function_exists(cblas_dgemm QORMATH_BLAS_HAS_CBLAS)
cmake_pop_check_state()
if(NOT QORMATH_BLAS_HAS_CBLAS)
  find_library(CBLAS_LIBRARY cblas)
  set(cblas_library_variable CBLAS_LIBRARY)
endif()

find_package_handle_standard_args(CBLAS REQUIRED_VARS CBLAS_INCLUDE_DIR ${cblas_library_variable})
if(CBLAS_FOUND AND NOT TARGET CBLAS::CBLAS)
  add_library(CBLAS::CBLAS INTERFACE IMPORTED)
  target_include_directories(CBLAS::CBLAS SYSTEM INTERFACE ${CBLAS_INCLUDE_DIR})
  target_link_libraries(CBLAS::CBLAS INTERFACE ${CBLAS_LIBRARY} BLAS::BLAS)
endif()
mark_as_advanced(CBLAS_INCLUDE_DIR CBLAS_LIBRARY)
