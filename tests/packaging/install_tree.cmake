# cmake -D BUILD_DIR=... -D INSTALLED_TREE=... -P install_tree.cmake
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
