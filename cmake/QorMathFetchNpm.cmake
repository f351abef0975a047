# qormath_fetch_npm(<folder> <target folder> <result>): has npm fetch what the lock file of the folder lists, in exactly
# these versions and checked against the sums there, into node_modules of the target folder, which is in the build tree.
#
# Fetched while configuring, so that a build can be laid out by what is there: the result is true if the packages are.
# What has been fetched stays until the lock file changes; what has failed is tried again by the next configuration.

find_program(NPM_PROGRAM npm)

function(qormath_fetch_npm folder target result)
  set(${result} FALSE PARENT_SCOPE)
  if(NOT NPM_PROGRAM)
    return()
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${folder}/package-lock.json)
  file(SHA256 ${folder}/package-lock.json sum)
  set(stamp ${target}/fetched-${sum})
  if(NOT EXISTS ${stamp})
    file(MAKE_DIRECTORY ${target})
    file(COPY ${folder}/package.json ${folder}/package-lock.json DESTINATION ${target})
    # npm gives up on a network that does not answer, but only after minutes.
    execute_process(
      COMMAND ${NPM_PROGRAM} ci --ignore-scripts --no-audit --no-fund --prefer-offline --loglevel=error
              --fetch-retries=1 --fetch-timeout=60000
      WORKING_DIRECTORY ${target}
      TIMEOUT 180
      RESULT_VARIABLE status
      OUTPUT_VARIABLE output
      ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
      string(REGEX REPLACE "\n.*" "" reason "${output}")
      message(STATUS "npm could not fetch the packages of ${folder}: ${reason}")
      return()
    endif()
    file(TOUCH ${stamp})
  endif()
  set(${result} TRUE PARENT_SCOPE)
endfunction()
