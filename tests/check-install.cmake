# Installs the build and looks at what has been installed: the Practice Workshop must never ship.
# cmake -D BUILD=<build folder> -D PREFIX=<scratch folder> -P check-install.cmake

file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE files RELATIVE ${PREFIX} ${PREFIX}/*)
set(programs ${files}) # the executable and, on Linux, a link to it; folders have that name too
list(FILTER programs INCLUDE REGEX "(^|/)tarnwick-mod-uploader(\\.exe)?$")
foreach(program IN LISTS programs)
    if(NOT EXISTS ${PREFIX}/${program})
        set(programs)
    endif()
endforeach()
if(NOT programs)
    message(FATAL_ERROR "the program has not been installed, only: ${files}")
endif()
if(files MATCHES "steam_api|[Pp]ractice")
    message(FATAL_ERROR "the Practice Workshop has been installed: ${files}")
endif()
