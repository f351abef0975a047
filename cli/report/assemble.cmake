# cmake -D UPLOT=<folder of the chart library> -D OUTPUT=<C++ source> -P assemble.cmake
#
# Puts style and scripts into the page, and their SHA-256 sums into its Content-Security-Policy, so that nothing else on
# the page can run. The source holds the page in two parts: what stands before the data, and what stands after them.

cmake_minimum_required(VERSION 3.25)
set(folder ${CMAKE_CURRENT_LIST_DIR})

set(digits ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)

# The 32 bytes of a sum, in hexadecimal digits, in base 64: three digits become two.
function(base64_of_sum result sum)
  set(text)
  string(APPEND sum "00")  # to 33 bytes
  foreach(start RANGE 0 63 3)
    string(SUBSTRING ${sum} ${start} 3 part)
    math(EXPR first "0x${part} >> 6")
    math(EXPR second "0x${part} & 63")
    string(SUBSTRING ${digits} ${first} 1 first)
    string(SUBSTRING ${digits} ${second} 1 second)
    string(APPEND text ${first}${second})
  endforeach()
  # The last six bits are of the byte that was added.
  string(SUBSTRING ${text} 0 43 text)
  set(${result} "${text}=" PARENT_SCOPE)
endfunction()

# element(<name> <file>...): the content of an element of the page, and, as <name>_sum, what the policy says of it.
function(element name)
  set(text "\n")
  foreach(file IN LISTS ARGN)
    file(READ ${file} part)
    string(APPEND text "${part}\n")
  endforeach()
  if(text MATCHES "</(script|style)|<!--")
    message(FATAL_ERROR "${ARGN}: what would end the element stands in it")
  endif()
  string(SHA256 sum "${text}")
  base64_of_sum(sum ${sum})
  set(${name} "${text}" PARENT_SCOPE)
  set(${name}_sum "'sha256-${sum}'" PARENT_SCOPE)
endfunction()

# literal(<name> <text>): a character a byte, for a string literal has a limit.
function(literal name text)
  string(HEX "${text}" bytes)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(REPLACE "'\\x0a'," "'\\x0a',\n" bytes "${bytes}")
  set(${name} "${bytes}" PARENT_SCOPE)
endfunction()

element(CHART_STYLE ${UPLOT}/dist/uPlot.min.css)
element(PAGE_STYLE ${folder}/report.css)
element(CHART_SCRIPT ${UPLOT}/dist/uPlot.iife.min.js)
element(PAGE_SCRIPT ${folder}/report.js)
file(READ ${UPLOT}/LICENSE CHART_LICENSE)
if(CHART_LICENSE MATCHES "--")
  message(FATAL_ERROR "${UPLOT}/LICENSE: what would end a comment stands in it")
endif()

file(READ ${folder}/report.html page)
foreach(part CHART_STYLE PAGE_STYLE CHART_SCRIPT PAGE_SCRIPT)
  string(REPLACE "@${part}_SUM@" "${${part}_sum}" page "${page}")
  string(REPLACE "@${part}@" "${${part}}" page "${page}")
endforeach()
string(REPLACE "@CHART_LICENSE@" "${CHART_LICENSE}" page "${page}")

set(mark "@DATA@")
string(FIND "${page}" ${mark} start)
string(LENGTH ${mark} length)
math(EXPR end "${start} + ${length}")
string(SUBSTRING "${page}" 0 ${start} before)
string(SUBSTRING "${page}" ${end} -1 after)
literal(before "${before}")
literal(after "${after}")
file(WRITE ${OUTPUT} "#include <cli/report_page_parts.hpp>

namespace qormath::cli::report_page_parts {

namespace {

constexpr char before[] = {
${before}};

constexpr char after[] = {
${after}};

}  // namespace

const std::string_view beforeData(before, sizeof before);
const std::string_view afterData(after, sizeof after);

}  // namespace qormath::cli::report_page_parts
")
