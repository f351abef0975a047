# The page of a report: its own files in this folder and the chart library, which npm fetches in exactly the version of
# the lock file and checks against the sum there, become one source of the program.
#
#   QORMATH_BUILD_REPORT   ON, OFF, or AUTO: where npm is, or an unpacked chart library
#   QORMATH_UPLOT_DIR      the unpacked chart library, for a build without npm and without a network

set(QORMATH_BUILD_REPORT AUTO CACHE STRING "Build the page of qormath report: ON, OFF, or AUTO (where npm is)")
set_property(CACHE QORMATH_BUILD_REPORT PROPERTY STRINGS AUTO ON OFF)
set(QORMATH_UPLOT_DIR "" CACHE PATH "An unpacked npm package uplot, instead of having npm fetch it")
find_program(NPM_PROGRAM npm)

set(build_report ${QORMATH_BUILD_REPORT})
if(build_report STREQUAL "AUTO")
  set(build_report OFF)
  if(QORMATH_UPLOT_DIR OR NPM_PROGRAM)
    set(build_report ON)
  else()
    message(STATUS "No npm and no QORMATH_UPLOT_DIR: the program is built without the page of qormath report")
  endif()
endif()

# The tests ask for it.
set(QORMATH_HAS_REPORT ${build_report} PARENT_SCOPE)

set(report_source ${CMAKE_CURRENT_BINARY_DIR}/report_page_parts.cpp)
if(NOT build_report)
  file(CONFIGURE OUTPUT ${report_source} CONTENT "#include <cli/report_page_parts.hpp>

namespace qormath::cli::report_page_parts {

const std::string_view beforeData{};
const std::string_view afterData{};

}  // namespace qormath::cli::report_page_parts
" @ONLY)
  target_sources(qormath_cli_objects PRIVATE ${report_source})
  return()
endif()

set(report_folder ${CMAKE_CURRENT_LIST_DIR})
if(QORMATH_UPLOT_DIR)
  set(uplot ${QORMATH_UPLOT_DIR})
  set(uplot_files dist/uPlot.iife.min.js dist/uPlot.min.css LICENSE)
  list(TRANSFORM uplot_files PREPEND ${uplot}/)
  foreach(file IN LISTS uplot_files)
    if(NOT EXISTS ${file})
      message(FATAL_ERROR "QORMATH_UPLOT_DIR is to name an unpacked npm package uplot, and there is no ${file}")
    endif()
  endforeach()
elseif(NPM_PROGRAM)
  # npm works where the lock file lies, and that is to be the build tree.
  set(npm_folder ${CMAKE_CURRENT_BINARY_DIR}/npm)
  set(uplot ${npm_folder}/node_modules/uplot)
  set(uplot_files ${uplot}/package.json)
  add_custom_command(
    OUTPUT ${uplot_files}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${npm_folder}
    COMMAND ${CMAKE_COMMAND} -E copy ${report_folder}/package.json ${report_folder}/package-lock.json ${npm_folder}
    COMMAND ${NPM_PROGRAM} ci --ignore-scripts --no-audit --no-fund --prefer-offline --loglevel=error
    COMMAND ${CMAKE_COMMAND} -E touch ${uplot_files}
    DEPENDS ${report_folder}/package.json ${report_folder}/package-lock.json
    WORKING_DIRECTORY ${npm_folder}
    COMMENT "Fetching the chart library of the report"
    VERBATIM)
else()
  message(FATAL_ERROR "QORMATH_BUILD_REPORT needs npm, or QORMATH_UPLOT_DIR with an unpacked npm package uplot")
endif()

set(page_files report.html report.css report.js assemble.cmake)
list(TRANSFORM page_files PREPEND ${report_folder}/)
add_custom_command(
  OUTPUT ${report_source}
  COMMAND ${CMAKE_COMMAND} -D UPLOT=${uplot} -D OUTPUT=${report_source} -P ${report_folder}/assemble.cmake
  DEPENDS ${page_files} ${uplot_files}
  COMMENT "Assembling the page of the report"
  VERBATIM)
target_sources(qormath_cli_objects PRIVATE ${report_source})
