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
