# What a build for Windows has of its own: libraries from their sources, safe and repeatable linking.
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
set(SP_SOURCES ${CMAKE_SOURCE_DIR}/build/sources CACHE PATH "Where tools/fetch-source puts the sources of libraries")

# A copy of RapidJSON's headers alone: the folder that has them holds another system's C library, too.
set(rapidjson_headers /usr/include/rapidjson CACHE PATH "The headers of RapidJSON")
file(COPY ${rapidjson_headers} DESTINATION ${CMAKE_BINARY_DIR}/include)
include_directories(SYSTEM ${CMAKE_BINARY_DIR}/include)

if(MINGW)
    # The same sources give the same bytes, wherever they lie.
    add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${SP_SOURCES}=sources)
    add_link_options(-static -Wl,--no-insert-timestamp -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat)
elseif(MSVC)
    add_compile_options(/utf-8 /EHsc /permissive- /Brepro)
    add_link_options(/Brepro /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT)
    set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
endif()

# The log names the time of the build: with this it is that of the sources. Called when src/ is there.
set(SP_SOURCE_TIME "" CACHE STRING "Seconds since 1970; the time of the last commit when it is empty")
function(sp_date_by_sources)
    set(time "${SP_SOURCE_TIME}")
    if(NOT time)
        execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
            OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    endif()
    if(NOT MINGW OR NOT time)
        return()
    endif()
    set(ENV{SOURCE_DATE_EPOCH} ${time})
    string(TIMESTAMP date "%b %d %Y" UTC)
    string(TIMESTAMP clock "%H:%M:%S" UTC)
    set_source_files_properties(${CMAKE_SOURCE_DIR}/src/base/log.cpp DIRECTORY ${CMAKE_SOURCE_DIR}/src
        PROPERTIES COMPILE_OPTIONS
        "-Wno-builtin-macro-redefined;-D__DATE__=\"${date}\";-D__TIME__=\"${clock}\"")
endfunction()
