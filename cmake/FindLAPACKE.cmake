# Finds LAPACKE, the C interface of LAPACK, and makes the target LAPACKE::LAPACKE.

include(FindPackageHandleStandardArgs)

find_path(LAPACKE_INCLUDE_DIR lapacke.h PATH_SUFFIXES lapacke openblas)
find_library(LAPACKE_LIBRARY lapacke)

find_package_handle_standard_args(LAPACKE REQUIRED_VARS LAPACKE_INCLUDE_DIR LAPACKE_LIBRARY)
if(LAPACKE_FOUND AND NOT TARGET LAPACKE::LAPACKE)
  add_library(LAPACKE::LAPACKE INTERFACE IMPORTED)
  target_include_directories(LAPACKE::LAPACKE SYSTEM INTERFACE ${LAPACKE_INCLUDE_DIR})
  # LAPACK before LAPACKE: the BLAS vendor's own LAPACK kernels are to be found first.
  target_link_libraries(LAPACKE::LAPACKE INTERFACE LAPACK::LAPACK ${LAPACKE_LIBRARY})
endif()
mark_as_advanced(LAPACKE_INCLUDE_DIR LAPACKE_LIBRARY)
