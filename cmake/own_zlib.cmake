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
