# What deflate writes is no standard: differences carry entries that are deflated again on the device, and maker and
# applier therefore share one zlib, linked into whoever links the room diff and hidden there. Which one is said here, so
# that a build machine with another one does not quietly make packages that the devices in the field cannot rebuild.
set(TAVOMEND_ZLIB_VERSION "1.2.13" CACHE STRING "The zlib that the maker and the devices share")
find_library(TAVOMEND_STATIC_ZLIB NAMES libz.a REQUIRED)

# The archive names itself, which a build for another processor can read as well.
file(STRINGS "${TAVOMEND_STATIC_ZLIB}" TAVOMEND_ZLIB_MARK REGEX "deflate [0-9.]+ Copyright" LIMIT_COUNT 1)
string(REGEX REPLACE ".*deflate ([0-9.]+) Copyright.*" "\\1" TAVOMEND_ZLIB_FOUND "${TAVOMEND_ZLIB_MARK}")
if(NOT TAVOMEND_ZLIB_FOUND STREQUAL TAVOMEND_ZLIB_VERSION)
    if(TAVOMEND_ZLIB_FOUND STREQUAL "")
        set(TAVOMEND_ZLIB_FOUND "of no known version")
    endif()
    message(FATAL_ERROR "maker and devices share zlib ${TAVOMEND_ZLIB_VERSION}, and ${TAVOMEND_STATIC_ZLIB} is "
        "${TAVOMEND_ZLIB_FOUND}: -DTAVOMEND_STATIC_ZLIB=FILE takes another file, -DTAVOMEND_ZLIB_VERSION=VERSION another "
        "version, which the devices and the maker must then all be built with (docs/difference-format.md)")
endif()
if(DEFINED ZLIB_VERSION_STRING AND NOT ZLIB_VERSION_STRING STREQUAL TAVOMEND_ZLIB_VERSION)
    message(FATAL_ERROR "zlib.h is of zlib ${ZLIB_VERSION_STRING}, and ${TAVOMEND_STATIC_ZLIB} of "
        "${TAVOMEND_ZLIB_VERSION}: -DZLIB_INCLUDE_DIR=DIR takes the header that goes with it")
endif()

# Under names of its own, for otherwise the linker is free to take the deflate of the shared zlib, which other rooms link:
# whichever it meets first. The new names are those that zlib.h itself gives with Z_PREFIX.
set(TAVOMEND_OWN_ZLIB "${CMAKE_BINARY_DIR}/libtavomend_zlib.a")
execute_process(COMMAND "${CMAKE_NM}" --defined-only --extern-only --format=posix "${TAVOMEND_STATIC_ZLIB}"
    OUTPUT_VARIABLE TAVOMEND_ZLIB_SYMBOLS COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[A-Za-z_][A-Za-z0-9_]* [A-Z] " TAVOMEND_ZLIB_SYMBOLS "${TAVOMEND_ZLIB_SYMBOLS}")
list(TRANSFORM TAVOMEND_ZLIB_SYMBOLS REPLACE "^([^ ]+) .*" "\\1 z_\\1\n")
file(WRITE "${TAVOMEND_OWN_ZLIB}.names" ${TAVOMEND_ZLIB_SYMBOLS})
execute_process(COMMAND "${CMAKE_OBJCOPY}" "--redefine-syms=${TAVOMEND_OWN_ZLIB}.names" "${TAVOMEND_STATIC_ZLIB}"
    "${TAVOMEND_OWN_ZLIB}.new" COMMAND_ERROR_IS_FATAL ANY)
file(COPY_FILE "${TAVOMEND_OWN_ZLIB}.new" "${TAVOMEND_OWN_ZLIB}" ONLY_IF_DIFFERENT) # or all would be linked again
add_library(tavomend_static_zlib INTERFACE)
target_link_libraries(tavomend_static_zlib INTERFACE "${TAVOMEND_OWN_ZLIB}")
target_link_options(tavomend_static_zlib INTERFACE -Wl,--exclude-libs,libtavomend_zlib.a)
