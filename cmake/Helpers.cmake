# sp_test(NAME SOURCES... LIBS ...): one GoogleTest program, its cases registered with CTest.
# Windows has the tests of tests/windows alone.
function(sp_test name)
    if(WIN32)
        return()
    endif()
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gmock GTest::gtest_main)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()

# sp_fuzz(NAME SOURCES... LIBS ...): one libFuzzer target of the target `fuzzers`. Its seeds lie in a folder of its name
# below a folder that ends in "seeds".
function(sp_fuzz name)
    if(NOT SP_FUZZ)
        return()
    endif()
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS})
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    if(NOT TARGET fuzzers)
        add_custom_target(fuzzers)
    endif()
    add_dependencies(fuzzers ${name})
endfunction()
