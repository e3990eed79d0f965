# Installs the build into a scratch DESTDIR with the prefix /usr and checks
# that every installed file is there: the three programs, runnable, the man
# pages and the bash completion.
file(REMOVE_RECURSE ${SCRATCH_DIR})
execute_process(
    COMMAND ${CMAKE_COMMAND} -E env DESTDIR=${SCRATCH_DIR}
            ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix /usr
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed (${result}):\n${output}")
endif()
set(expected
    usr/bin/tavrol
    usr/bin/tavrol-submit
    usr/bin/tavrol-slurm
    usr/share/man/man1/tavrol.1
    usr/share/man/man1/tavrol-submit.1
    usr/share/bash-completion/completions/tavrol-submit)
foreach(path IN LISTS expected)
    if(NOT EXISTS ${SCRATCH_DIR}/${path})
        message(FATAL_ERROR "not installed: ${path}\n${output}")
    endif()
endforeach()
execute_process(COMMAND ${SCRATCH_DIR}/usr/bin/tavrol-submit --help
                RESULT_VARIABLE result OUTPUT_VARIABLE help)
if(NOT result EQUAL 0 OR NOT help MATCHES "^Usage: tavrol-submit ")
    message(FATAL_ERROR "the installed tavrol-submit does not run (${result}): ${help}")
endif()
file(REMOVE_RECURSE ${SCRATCH_DIR})
message(STATUS "installed: ${expected}")
