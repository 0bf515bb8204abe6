# Installs the build and looks at what has been installed: the Practice Workshop must never ship.
# cmake -D BUILD=<build folder> -D PREFIX=<scratch folder> -P check-install.cmake

file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE files RELATIVE ${PREFIX} ${PREFIX}/*)
if(NOT files MATCHES "tarnwick-mod-uploader")
    message(FATAL_ERROR "the program has not been installed, only: ${files}")
endif()
if(files MATCHES "steam_api|[Pp]ractice")
    message(FATAL_ERROR "the Practice Workshop has been installed: ${files}")
endif()
