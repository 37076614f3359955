# GoogleTest from its source, as Debian's package googletest has it.
set(GTEST_SOURCES /usr/src/googletest CACHE PATH "The sources of GoogleTest")
set(GTest_FOUND FALSE)
if(EXISTS ${GTEST_SOURCES}/googletest)
    if(NOT TARGET GTest::gtest)
        add_library(gtest STATIC
            ${GTEST_SOURCES}/googletest/src/gtest-all.cc ${GTEST_SOURCES}/googlemock/src/gmock-all.cc)
        target_include_directories(gtest SYSTEM
            PUBLIC ${GTEST_SOURCES}/googletest/include ${GTEST_SOURCES}/googlemock/include
            PRIVATE ${GTEST_SOURCES}/googletest ${GTEST_SOURCES}/googlemock)
        target_compile_options(gtest PRIVATE $<$<BOOL:${MINGW}>:-w>)
        add_library(gtest_main STATIC ${GTEST_SOURCES}/googletest/src/gtest_main.cc)
        target_link_libraries(gtest_main PUBLIC gtest)
        add_library(GTest::gtest ALIAS gtest)
        add_library(GTest::gmock ALIAS gtest)
        add_library(GTest::gtest_main ALIAS gtest_main)
    endif()
    set(GTest_FOUND TRUE)
endif()
