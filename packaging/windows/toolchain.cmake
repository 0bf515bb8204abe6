# Builds for 64-bit Windows with Debian's mingw-w64, the variant with POSIX threads, and with the Qt
# that packaging/windows/build-qt makes.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Another Qt can be given, for example one that somebody has changed.
if(NOT TARNWICK_WINDOWS_QT)
    execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/build-qt --folder
        OUTPUT_VARIABLE TARNWICK_WINDOWS_QT OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
endif()
if(NOT EXISTS ${TARNWICK_WINDOWS_QT}/lib/libQt5Core.a)
    message(FATAL_ERROR "${TARNWICK_WINDOWS_QT}: no Qt; packaging/windows/build-qt makes it")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARNWICK_WINDOWS_QT)

# Nothing of the machine that builds may be found: neither its Qt nor its headers.
set(CMAKE_FIND_ROOT_PATH ${TARNWICK_WINDOWS_QT} ${TARNWICK_WINDOWS_QT}/headers /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${TARNWICK_WINDOWS_QT}/lib/pkgconfig)

# Everything goes into the program; what is left are DLLs of the system. No time of the build.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/run)
