# Every target of the project compiles alike: warnings, sanitizers and visibility are set here and nowhere else.

add_library(qormath_compile_options INTERFACE)
target_compile_features(qormath_compile_options INTERFACE cxx_std_20)
target_compile_options(qormath_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>
  $<$<BOOL:${QORMATH_WARNINGS_AS_ERRORS}>:-Werror>
  # Contracting a*b+c into one rounding differs between compilers, and results are not to depend on them. The sources of
  # kernels that are written for a processor make an exception, in the CMakeLists.txt of their folder.
  -ffp-contract=off)

if(QORMATH_SANITIZE)
  string(REPLACE ";" "," qormath_sanitizers "${QORMATH_SANITIZE}")
  # Lines are all that a report needs of the debug information, and the rest is a third of the time to compile.
  target_compile_options(qormath_compile_options INTERFACE
    -fsanitize=${qormath_sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  target_link_options(qormath_compile_options INTERFACE -fsanitize=${qormath_sanitizers}
    # A program in C brings the C++ half of the checks, which the library needs.
    $<$<AND:$<LINK_LANGUAGE:C>,$<C_COMPILER_ID:Clang>>:-fsanitize-link-c++-runtime;-lstdc++>)
endif()

if(QORMATH_FUZZ)
  # The optimiser's last tenth costs more time than half a minute of runs gains.
  target_compile_options(qormath_compile_options INTERFACE -fsanitize=fuzzer-no-link -O1)
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
