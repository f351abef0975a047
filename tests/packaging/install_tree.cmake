# cmake -D BUILD_DIR=... -D INSTALLED_TREE=... -D READELF=... -P install_tree.cmake
# Installs a build to a place of its own and moves the result to INSTALLED_TREE.

set(first_place ${INSTALLED_TREE}.first)
file(REMOVE_RECURSE ${first_place} ${INSTALLED_TREE})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${first_place} COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${first_place} ${INSTALLED_TREE})

# No file that consumers read may remember where it was built or first installed.
file(GLOB_RECURSE files ${INSTALLED_TREE}/*.cmake ${INSTALLED_TREE}/*.pc ${INSTALLED_TREE}/*.hpp ${INSTALLED_TREE}/*.h)
foreach(file IN LISTS files)
  file(READ ${file} text)
  string(FIND "${text}" "${BUILD_DIR}" place)
  if(NOT place EQUAL -1)
    message(FATAL_ERROR "${file} names the build folder ${BUILD_DIR}")
  endif()
endforeach()

file(GLOB_RECURSE private_headers
  ${INSTALLED_TREE}/include/qormath/lapack/* ${INSTALLED_TREE}/include/qormath/control_utility/*
  ${INSTALLED_TREE}/include/qormath/*/detail/*)
if(private_headers)
  message(FATAL_ERROR "private headers are installed: ${private_headers}")
endif()

# Where the library is looked for is the loader's affair.
file(GLOB_RECURSE binaries ${INSTALLED_TREE}/bin/qormath ${INSTALLED_TREE}/libqormath.so)
list(LENGTH binaries count)
if(count LESS 1)
  message(FATAL_ERROR "neither the shared library nor the program is installed")
endif()
foreach(binary IN LISTS binaries)
  execute_process(COMMAND ${READELF} -d ${binary} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
  if(dynamic MATCHES "RPATH|RUNPATH")
    message(FATAL_ERROR "${binary} has a path for the loader")
  endif()
endforeach()
