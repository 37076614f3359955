# pugixml from its source.
if(NOT TARGET pugixml::pugixml)
    add_library(pugixml STATIC ${SP_SOURCES}/pugixml/src/pugixml.cpp)
    target_include_directories(pugixml SYSTEM PUBLIC ${SP_SOURCES}/pugixml/src)
    target_compile_options(pugixml PRIVATE $<$<BOOL:${MINGW}>:-w>)
    # The text of an assertion would name the place of the source.
    target_compile_definitions(pugixml PRIVATE NDEBUG)
    add_library(pugixml::pugixml ALIAS pugixml)
endif()
set(pugixml_FOUND TRUE)
