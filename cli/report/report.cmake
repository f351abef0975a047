# The page of a report: its own files in this folder and the chart library, which npm fetches in exactly the version of
# the lock file and checks against the sum there, become one source of the program.
#
#   QORMATH_BUILD_REPORT   ON, OFF, or AUTO: where npm fetches the chart library, or it is there unpacked
#   QORMATH_UPLOT_DIR      the unpacked chart library, for a build without npm and without a network

include(QorMathFetchNpm)

set(QORMATH_BUILD_REPORT AUTO CACHE STRING "Build the page of qormath report: ON, OFF, or AUTO (where npm can fetch)")
set_property(CACHE QORMATH_BUILD_REPORT PROPERTY STRINGS AUTO ON OFF)
set(QORMATH_UPLOT_DIR "" CACHE PATH "An unpacked npm package uplot, instead of having npm fetch it")

set(report_folder ${CMAKE_CURRENT_LIST_DIR})
set(uplot ${QORMATH_UPLOT_DIR})
set(build_report FALSE)
if(QORMATH_BUILD_REPORT)
  set(build_report TRUE)
  if(NOT QORMATH_UPLOT_DIR)
    set(npm_folder ${CMAKE_CURRENT_BINARY_DIR}/npm)
    set(uplot ${npm_folder}/node_modules/uplot)
    qormath_fetch_npm(${report_folder} ${npm_folder} build_report)
  endif()
  if(NOT build_report)
    if(NOT QORMATH_BUILD_REPORT STREQUAL "AUTO")
      message(FATAL_ERROR "QORMATH_BUILD_REPORT needs npm and a network, or QORMATH_UPLOT_DIR with an unpacked npm "
                          "package uplot")
    endif()
    message(WARNING "The program is built without the page of qormath report, for want of its chart library")
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

set(uplot_files dist/uPlot.iife.min.js dist/uPlot.min.css LICENSE)
list(TRANSFORM uplot_files PREPEND ${uplot}/)
foreach(file IN LISTS uplot_files)
  if(NOT EXISTS ${file})
    message(FATAL_ERROR "QORMATH_UPLOT_DIR is to name an unpacked npm package uplot, and there is no ${file}")
  endif()
endforeach()

set(page_files report.html report.css report.js assemble.cmake)
list(TRANSFORM page_files PREPEND ${report_folder}/)
add_custom_command(
  OUTPUT ${report_source}
  COMMAND ${CMAKE_COMMAND} -D UPLOT=${uplot} -D OUTPUT=${report_source} -P ${report_folder}/assemble.cmake
  DEPENDS ${page_files} ${uplot_files}
  COMMENT "Assembling the page of the report"
  VERBATIM)
target_sources(qormath_cli_objects PRIVATE ${report_source})
