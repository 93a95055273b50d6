# One library for each room, with its sources listed and only the rooms below it linked: an include that goes upwards
# does not link in that room's tests.
function(tavomend_add_room name)
    cmake_parse_arguments(ARG "HIDDEN" "" "SOURCES;LIBS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC tavomend_options ${ARG_LIBS})
    if(ARG_HIDDEN)
        set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    endif()
endfunction()

# A shared library lets others see the names of its map and no others.
function(tavomend_limit_exports name map)
    target_link_options(${name} PRIVATE -Wl,--version-script=${map})
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${map})
endfunction()

# A test program; ctest runs each of its cases in a process of its own, and once more all of them in one process, in an
# order by a random seed that the output names: no case may leave anything behind that another one sees.
# DEVICE: its main puts the process on an empty device root of its own before the first case.
# THREADS: the cases have threads, and run under ThreadSanitizer as well (preset thread).
# SLOW: the cases take more than ten seconds together; they are started early, so that none is left alone at the end, and
# are not run a second time.
add_custom_target(thread_tests)
function(tavomend_add_test name)
    cmake_parse_arguments(ARG "DEVICE;SLOW;THREADS" "" "SOURCES;LIBS;DEFINITIONS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE tavomend_options ${ARG_LIBS} GTest::gmock GTest::gtest)
    target_compile_definitions(${name} PRIVATE ${ARG_DEFINITIONS})
    target_compile_options(${name} PRIVATE $<$<CONFIG:RelWithDebInfo>:-O0>) # tests are built more often than run
    target_precompile_headers(${name} REUSE_FROM tavomend_test_headers)
    if(ARG_DEVICE)
        target_link_libraries(${name} PRIVATE tavomend_device_main)
    else()
        target_link_libraries(${name} PRIVATE GTest::gtest_main)
    endif()
    set(labels)
    if(ARG_THREADS)
        add_dependencies(thread_tests ${name})
        set(labels LABELS threads)
    endif()
    set(cost)
    if(ARG_SLOW)
        set(cost COST 10)
    endif()
    gtest_discover_tests(${name} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 ${labels} ${cost})
    if(NOT ARG_SLOW)
        add_test(NAME ${name}.shuffled COMMAND ${name} --gtest_shuffle)
        set_tests_properties(${name}.shuffled PROPERTIES TIMEOUT 300 ${labels})
    endif()
endfunction()
