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
