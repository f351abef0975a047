# BLAS, LAPACK and their C bindings. BLA_VENDOR chooses another BLAS than OpenBLAS.

if(NOT DEFINED BLA_VENDOR)
  set(BLA_VENDOR OpenBLAS)
endif()
find_package(BLAS REQUIRED)
find_package(LAPACK REQUIRED)
find_package(CBLAS REQUIRED)
find_package(LAPACKE REQUIRED)
