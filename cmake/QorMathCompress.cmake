# Compressed files, as manual pages and lists of changes are installed: without a time or a name in them, so that the
# same text gives the same bytes.

find_program(GZIP_PROGRAM gzip)
mark_as_advanced(GZIP_PROGRAM)

# qormath_compress(<file> <result>): makes <result>, a path below the build folder, part of the build.
function(qormath_compress file result)
  set(compressed ${PROJECT_BINARY_DIR}/${result})
  cmake_path(GET compressed PARENT_PATH folder)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(OUTPUT ${compressed} 
    COMMAND ${GZIP_PROGRAM} -9n < ${file} > ${compressed}
    DEPENDS ${file} VERBATIM)
  string(MAKE_C_IDENTIFIER ${result} name)
  add_custom_target(compressed_${name} ALL DEPENDS ${compressed})
endfunction()
