# Configures a build as a distribution does, without the Practice Workshop, and looks where the executable
# will be: in the folder that the README names for the Steam library.
# cmake -D SOURCE=<source folder> -D BUILD=<scratch folder> -D QT=<5 or 6> -P check-configure.cmake

file(REMOVE_RECURSE ${BUILD})
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${BUILD} -G Ninja -D TARNWICK_QT=${QT}
    -D CMAKE_INSTALL_PREFIX=/usr -D TARNWICK_PRACTICE_WORKSHOP=OFF
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(READ ${SOURCE}/README.md readme)
file(READ ${BUILD}/packaging/cmake_install.cmake rules)
string(REGEX MATCH "/usr(/lib/[^`]*)/libsteam_api.so" place "${readme}")
if(NOT place OR NOT rules MATCHES "\"\\\${CMAKE_INSTALL_PREFIX}${CMAKE_MATCH_1}\" TYPE EXECUTABLE")
    message(FATAL_ERROR "the executable is not installed where the README has the library: ${place}")
endif()
